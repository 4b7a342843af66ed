// What every subcommand of the effects command shares: option parsing with
// one-line errors, progress on standard error when it is a terminal, stage
// timing, and small texts.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "effects/effects.hpp"
#include "image_files.hpp"

namespace cli {

// Arguments after the subcommand's name, taken one by one.
class Args {
public:
    Args(int argc, char** argv, int first) : args_(argv + first, argv + argc) {}
    bool done() const { return next_ >= args_.size(); }
    const std::string& next() { return args_[next_++]; }
    // The value of option `name`; Failure when it is missing.
    const std::string& value(const std::string& name) {
        if (done()) throw Failure(name + ": needs a value");
        return next();
    }
    int integer(const std::string& name);
    double number(const std::string& name);

private:
    std::vector<std::string> args_;
    std::size_t next_ = 0;
};

// Progress lines on standard error, shown only when it is a terminal and
// the user did not ask for quiet.
class Progress {
public:
    explicit Progress(bool quiet);
    void show(const std::string& stage, std::size_t done, std::size_t total) const;
    void clear() const;
    bool quiet() const { return quiet_; }

private:
    bool quiet_, terminal_;
};

// Seconds since construction (or the last restart).
class Stopwatch {
public:
    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};


// Exposure times as "1/250 s" or "2 s".
std::string seconds_text(double seconds);

// R, G, B floats as B, G, R, A floats for the tone-mapping operators.
effects::Image<effects::RgbaFloat> to_rgba_float(effects::ImageView<const effects::RgbFloat> image);

}  // namespace cli

// Option values, progress lines and small texts shared
// by the subcommands.
#include "command_kit.hpp"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace cli {

int Args::integer(const std::string& name) {
    const std::string& text = value(name);
    char* end = nullptr;
    errno = 0;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end || errno || v < -1000000 || v > 1000000)
        throw Failure(name + ": '" + text + "' is not a whole number");
    return static_cast<int>(v);
}

double Args::number(const std::string& name) {
    const std::string& text = value(name);
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (text.empty() || *end || !std::isfinite(v)) throw Failure(name + ": '" + text + "' is not a number");
    return v;
}

Progress::Progress(bool quiet) : quiet_(quiet), terminal_(::isatty(2) != 0) {}

void Progress::show(const std::string& stage, std::size_t done, std::size_t total) const {
    if (quiet_ || !terminal_) return;
    std::fprintf(stderr, "\r%s %zu/%zu\033[K", stage.c_str(), done, total);
    std::fflush(stderr);
}

void Progress::clear() const {
    if (quiet_ || !terminal_) return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
}

std::string seconds_text(double seconds) {
    char text[64];
    const double inverse = 1.0 / seconds;
    if (seconds < 0.5 && std::fabs(inverse - std::round(inverse)) < 1e-3 * inverse)
        std::snprintf(text, sizeof text, "1/%.0f s", inverse);
    else
        std::snprintf(text, sizeof text, "%g s", seconds);
    return text;
}

effects::Image<effects::RgbaFloat> to_rgba_float(effects::ImageView<const effects::RgbFloat> image) {
    effects::Image<effects::RgbaFloat> out(image.width(), image.height());
    effects::convert(image, out.view());
    return out;
}

}  // namespace cli

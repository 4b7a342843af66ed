// Effects imaging engine: the HDR pipeline in C++. A bracket of 8-bit frames
// with exposure times; align() finds one integer shift per frame relative to
// a reference, merge() turns the bracket into a float radiance image. Frames
// may be views of memory the caller keeps, or loaders called when a frame is
// needed, so that only one decoded frame is alive at a time: peak memory is
// then the radiance image, one weight plane and about one frame.
//
//   effects::hdr::Bracket b;
//   b.add(dark, 1.0f / 250).add(mid, 1.0f / 60).add(bright, 1.0f / 15);
//   auto shifts = effects::hdr::align(b);
//   effects::Image<effects::RgbFloat> radiance = effects::hdr::merge(b, shifts);
//
// Everything here is inline over the EffectsHdr... entry points of effects.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "effects/effects.hpp"

namespace effects::hdr {

enum class Weighting : std::int32_t { triangle = EFFECTS_HDR_WEIGHT_TRIANGLE, sine = EFFECTS_HDR_WEIGHT_SINE };
enum class Response : std::int32_t { gamma = EFFECTS_HDR_RESPONSE_GAMMA, linear = EFFECTS_HDR_RESPONSE_LINEAR };
// Where the alignment compares bitmaps: the whole overlap, the central
// third, or the best-exposed of five zones of the reference.
enum class Area : std::int32_t {
    overlap = EFFECTS_HDR_AREA_OVERLAP,
    centre = EFFECTS_HDR_AREA_CENTRE,
    best_zone = EFFECTS_HDR_AREA_BEST_ZONE
};

// Reference pixel (x, y) shows what the frame holds at (x - dx, y - dy).
struct Shift {
    std::int32_t dx = 0, dy = 0;
    friend bool operator==(const Shift&, const Shift&) = default;
};

struct AlignOptions {
    std::int32_t max_shift = 64;  // every frame within +-max_shift of the reference in x and y
    Area area = Area::overlap;
    std::int32_t reference = -1;  // index of the reference frame; -1: the middle one
};

struct MergeOptions {
    Weighting weighting = Weighting::triangle;
    Response response = Response::gamma;
};

namespace detail {
inline void check(std::int32_t rc, const char* what) {
    if (rc == EFFECTS_OK) return;
    const char* text = rc == EFFECTS_ERROR_BAD_ARGUMENT    ? "option out of range or merge already finished"
                       : rc == EFFECTS_ERROR_OUT_OF_MEMORY ? "out of memory"
                                                           : effects::detail::errc_text(rc);
    throw Error(static_cast<Errc>(rc), std::string(what) + ": " + text);
}
}  // namespace detail

// Frames of one size with their exposure times (seconds, or any factor:
// only ratios matter).
class Bracket {
public:
    using Loader = std::function<Image<Bgra8>()>;

    // A frame in memory that the caller keeps alive while the bracket is used.
    Bracket& add(ImageView<const Bgra8> frame, float exposure) {
        frames_.push_back({frame, exposure});
        return *this;
    }
    // A frame decoded on demand; the image is released after each use.
    Bracket& add(Loader load, float exposure) {
        frames_.push_back({std::move(load), exposure});
        return *this;
    }
    std::size_t size() const { return frames_.size(); }
    float exposure(std::size_t i) const { return frames_.at(i).exposure; }

    // Calls fn(view) with frame i, loading it first when it is a loader's.
    template <class Fn>
    void with_frame(std::size_t i, Fn&& fn) const {
        const Entry& e = frames_.at(i);
        if (const auto* view = std::get_if<ImageView<const Bgra8>>(&e.source)) {
            fn(*view);
            return;
        }
        const Image<Bgra8> image = std::get<Loader>(e.source)();
        fn(image.view());
    }

private:
    struct Entry {
        std::variant<ImageView<const Bgra8>, Loader> source;
        float exposure;
    };
    std::vector<Entry> frames_;
};

// Finds shifts against one reference frame, coarse to fine over threshold
// bitmaps; keeps about 1.4 bytes per reference pixel.
class Aligner {
public:
    Aligner(ImageView<const Bgra8> reference, std::int32_t max_shift = 64, Area area = Area::overlap)
        : width_(reference.width()), height_(reference.height()) {
        EffectsHdrAligner* a = nullptr;
        detail::check(EffectsHdrAlignerCreate(width_, height_, reference.data(), reference.stride(), max_shift,
                                              static_cast<std::int32_t>(area), &a),
                      "cannot prepare the alignment");
        handle_.reset(a);
    }
    // `base`: where the aligner's reference lies from the bracket's
    // reference; the shift found keeps base + shift within +-max_shift.
    Shift find(ImageView<const Bgra8> frame, Shift base = {}) const {
        if (frame.width() != width_ || frame.height() != height_)
            throw Error(Errc::size_mismatch, "cannot align a frame of " +
                                                 effects::detail::size_text(frame.width(), frame.height()) +
                                                 " with a reference of " +
                                                 effects::detail::size_text(width_, height_));
        Shift s;
        detail::check(EffectsHdrAlignerFind(handle_.get(), frame.data(), frame.stride(), base.dx, base.dy,
                                                    &s.dx, &s.dy),
                      "cannot align a frame");
        return s;
    }

private:
    struct Free {
        void operator()(EffectsHdrAligner* a) const { EffectsHdrAlignerDestroy(a); }
    };
    std::unique_ptr<EffectsHdrAligner, Free> handle_;
    std::int32_t width_, height_;
};

// Accumulates frames one at a time into a radiance image (R, G, B floats).
class Merger {
public:
    Merger(std::int32_t width, std::int32_t height, const MergeOptions& options = {}) : radiance_(width, height) {
        EffectsHdrMerge* m = nullptr;
        detail::check(EffectsHdrMergeCreate(width, height, static_cast<std::int32_t>(options.weighting),
                                            static_cast<std::int32_t>(options.response),
                                            reinterpret_cast<float*>(radiance_.data()), radiance_.stride(), &m),
                      "cannot start a merge");
        handle_.reset(m);
    }
    void add(ImageView<const Bgra8> frame, float exposure, Shift shift = {}) {
        if (frame.width() != radiance_.width() || frame.height() != radiance_.height())
            throw Error(Errc::size_mismatch, "cannot merge a frame of " +
                                                 effects::detail::size_text(frame.width(), frame.height()) +
                                                 " into a merge of " +
                                                 effects::detail::size_text(radiance_.width(), radiance_.height()));
        detail::check(EffectsHdrMergeAdd(handle_.get(), frame.data(), frame.stride(), exposure, shift.dx, shift.dy),
                      "cannot add a frame");
    }
    // The weighted mean radiance; the merger is spent afterwards.
    Image<RgbFloat> finish() {
        detail::check(EffectsHdrMergeFinish(handle_.get()), "cannot finish the merge");
        handle_.reset();
        return std::move(radiance_);
    }

private:
    struct Free {
        void operator()(EffectsHdrMerge* m) const { EffectsHdrMergeDestroy(m); }
    };
    Image<RgbFloat> radiance_;
    std::unique_ptr<EffectsHdrMerge, Free> handle_;
};

// One shift per frame relative to the reference (whose shift is {0, 0}).
// Each frame is aligned to its neighbour on the way to the reference and
// the steps are summed, so that frames many stops from the reference are
// compared with one that sees the same contours; every step is searched
// only where the sum stays within +-max_shift, so max_shift bounds each
// frame's total shift from the reference. Every frame is loaded once.
inline std::vector<Shift> align(const Bracket& bracket, const AlignOptions& options = {}) {
    std::vector<Shift> shifts(bracket.size());
    if (bracket.size() < 2) return shifts;
    const std::size_t ref = options.reference < 0 ? (bracket.size() - 1) / 2
                                                  : static_cast<std::size_t>(options.reference);
    if (ref >= bracket.size())
        throw Error(Errc::bad_argument, "reference frame " + std::to_string(options.reference) +
                                            " of a bracket of " + std::to_string(bracket.size()));
    std::optional<Aligner> reference;
    bracket.with_frame(ref, [&](ImageView<const Bgra8> f) { reference.emplace(f, options.max_shift, options.area); });
    for (const int step : {1, -1}) {
        std::optional<Aligner> neighbour;
        Shift sum;
        for (auto i = static_cast<std::ptrdiff_t>(ref) + step;
             i >= 0 && i < static_cast<std::ptrdiff_t>(bracket.size()); i += step)
            bracket.with_frame(static_cast<std::size_t>(i), [&](ImageView<const Bgra8> f) {
                const Shift s = (neighbour ? *neighbour : *reference).find(f, sum);
                sum = {sum.dx + s.dx, sum.dy + s.dy};
                shifts[static_cast<std::size_t>(i)] = sum;
                if (i + step >= 0 && i + step < static_cast<std::ptrdiff_t>(bracket.size()))
                    neighbour.emplace(f, options.max_shift, options.area);
            });
    }
    return shifts;
}

// The radiance image of a bracket, each frame added with its shift (none
// when `shifts` is empty); each frame is loaded once.
inline Image<RgbFloat> merge(const Bracket& bracket, const std::vector<Shift>& shifts = {},
                             const MergeOptions& options = {}) {
    if (!shifts.empty() && shifts.size() != bracket.size())
        throw Error(Errc::size_mismatch, std::to_string(shifts.size()) + " shifts for a bracket of " +
                                             std::to_string(bracket.size()) + " frames");
    std::optional<Merger> merger;
    for (std::size_t i = 0; i < bracket.size(); ++i)
        bracket.with_frame(i, [&](ImageView<const Bgra8> f) {
            if (!merger) merger.emplace(f.width(), f.height(), options);
            merger->add(f, bracket.exposure(i), shifts.empty() ? Shift{} : shifts[i]);
        });
    if (!merger) return Image<RgbFloat>();
    return merger->finish();
}

}  // namespace effects::hdr

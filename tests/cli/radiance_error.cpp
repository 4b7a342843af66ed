// Compares a merged Radiance file with the scene's true radiance: the
// median relative error over the channels whose true value lies in
// [lo, hi], away from a border. Exits 1 when it is above the limit.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "effects/io.hpp"

int main(int argc, char** argv) {
    if (argc != 7) {
        std::fprintf(stderr, "usage: radiance_error MERGED.hdr TRUTH.hdr LO HI BORDER LIMIT\n");
        return 2;
    }
    const auto merged = effects::io::read_radiance(argv[1]);
    const auto truth = effects::io::read_radiance(argv[2]);
    const double lo = std::atof(argv[3]), hi = std::atof(argv[4]), limit = std::atof(argv[6]);
    const int border = std::atoi(argv[5]);
    if (merged.width != truth.width || merged.height != truth.height) {
        std::fprintf(stderr, "sizes differ\n");
        return 1;
    }
    std::vector<double> errors;
    for (int y = border; y < truth.height - border; ++y)
        for (int x = 3 * border; x < 3 * (truth.width - border); ++x) {
            const std::size_t i = static_cast<std::size_t>(y) * truth.width * 3 + x;
            const double t = truth.pixels[i];
            if (t >= lo && t <= hi) errors.push_back(std::fabs(merged.pixels[i] - t) / t);
        }
    if (errors.size() < 1000) {
        std::fprintf(stderr, "only %zu well-exposed values\n", errors.size());
        return 1;
    }
    std::nth_element(errors.begin(), errors.begin() + errors.size() / 2, errors.end());
    const double median = errors[errors.size() / 2];
    std::printf("median relative error %.2f%% over %zu values\n", 100 * median, errors.size());
    return median <= limit ? 0 : 1;
}

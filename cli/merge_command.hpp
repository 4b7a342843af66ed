// `effects merge`: a bracket of 8-bit frames into a Radiance HDR file, with
// an optional tone-mapped preview. The demo runs the same path.
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "command_kit.hpp"
#include "effects/hdr.hpp"
#include "effects/stats.hpp"

namespace cli {

struct MergeRequest {
    std::vector<std::string> frames;
    std::string output;
    std::vector<double> times;  // empty: from each frame's EXIF
    bool align = true;
    int max_shift = 64;
    int reference = 0;  // 1-based; 0: the middle frame
    effects::hdr::Weighting weighting = effects::hdr::Weighting::triangle;
    effects::hdr::Response response = effects::hdr::Response::gamma;
    std::string preview;             // empty: none
    std::string tonemap = "reinhard";  // operator name or plug-in path
    bool quiet = false;
};

struct MergeResult {
    std::vector<double> times;
    std::vector<effects::hdr::Shift> shifts;
    std::int32_t width = 0, height = 0;
    effects::RangeReport range;
};

// Checks the request (Failure with one line otherwise), then decodes,
// aligns, merges and writes, printing what it found to `report`.
MergeResult run_merge(const MergeRequest& request, std::FILE* report);

int merge_command(Args& args);
void merge_help(std::FILE* out);

}  // namespace cli

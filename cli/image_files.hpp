// Image files of the effects command: 8-bit frames decoded from JPEG, PNG
// and TIFF (16-bit samples reduced to 8 bits), EXIF exposure times, and
// outputs written under a temporary name beside their target and renamed
// into place only when complete.
#pragma once

#include <cstdio>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "effects/effects.hpp"

namespace cli {

// A failure the user can mend (bad input, missing file): one line naming the
// file and the problem; the command exits with status 2.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum class FileKind { png, jpeg, tiff, radiance, vzm, unknown };

// The kind a file name's extension asks for (outputs).
FileKind kind_from_name(const std::string& path);
// The kind a file's first bytes show (inputs); Failure when it cannot be read.
FileKind kind_from_content(const std::string& path);
const char* kind_name(FileKind kind);

// A decoded 8-bit frame and the bit depth of the file's samples.
struct Frame {
    effects::Image<effects::Bgra8> image;
    int source_bits = 8;
};

// Decodes a JPEG, PNG or TIFF file; Failure naming the file otherwise.
Frame read_frame(const std::string& path);
// Width and height without decoding the pixels (JPEG, PNG, TIFF).
void read_frame_size(const std::string& path, std::int32_t& width, std::int32_t& height);

// The EXIF ExposureTime of a file in seconds, when it has one.
std::optional<double> exif_exposure_time(const std::string& path);

// An output file written under a temporary name in the target's folder.
// commit() closes and renames it over the target; without a commit the
// temporary file is removed and the target stays as it was.
class PendingFile {
public:
    explicit PendingFile(const std::string& target);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;
    std::FILE* stream() const { return stream_; }
    const std::string& temporary_path() const { return temporary_; }
    void commit();

private:
    std::string target_, temporary_;
    std::FILE* stream_ = nullptr;
};

// Failure unless the folder an output goes to exists (checked before work).
void check_output_folder(const std::string& path);

// Writers of 8-bit images (alpha dropped). exposure_time, when given, goes
// into the JPEG's EXIF block.
void write_png(const std::string& path, effects::ImageView<const effects::Bgra8> image);
void write_jpeg(const std::string& path, effects::ImageView<const effects::Bgra8> image, int quality,
                std::optional<double> exposure_time = std::nullopt);
void write_tiff(const std::string& path, effects::ImageView<const effects::Bgra8> image);
// A PNG, JPEG or TIFF by the name's extension.
void write_ldr(const std::string& path, effects::ImageView<const effects::Bgra8> image);

}  // namespace cli

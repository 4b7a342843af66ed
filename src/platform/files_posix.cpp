// File calls on POSIX hosts: names are passed as UTF-8 bytes; temporary files
// are created exclusively with the process's usual permissions (0666 less
// the umask) and renamed over their target.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>

#include "platform/files.hpp"
#include "platform/utf.hpp"

namespace effects::detail::platform {

std::FILE* open_file(const char16_t* name, const char* mode) {
    if (!name) return nullptr;
    return std::fopen(utf16_to_utf8(name).c_str(), mode);
}

std::FILE* open_file(const char* name, const char* mode) { return name ? std::fopen(name, mode) : nullptr; }

std::string last_error_text() { return std::strerror(errno); }

std::FILE* create_temporary_beside(const std::string& path, std::string* temp, std::string* error) {
    // A name nobody else picks: the process, the moment and a counter; an
    // existing name is skipped (O_EXCL), never opened.
    const uint64_t seed = static_cast<uint64_t>(getpid()) << 40 ^
                          static_cast<uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    for (uint64_t attempt = 0; attempt < 64; ++attempt) {
        char suffix[40];
        std::snprintf(suffix, sizeof suffix, ".%016llx.tmp", static_cast<unsigned long long>(seed + attempt * 7919));
        const std::string name = path + suffix;
        const int fd = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0) {
            if (errno == EEXIST) continue;
            *error = "cannot create " + name + ": " + last_error_text();
            return nullptr;
        }
        std::FILE* f = ::fdopen(fd, "wb");
        if (!f) {
            *error = "cannot open " + name + ": " + last_error_text();
            ::close(fd);
            ::unlink(name.c_str());
            return nullptr;
        }
        *temp = name;
        return f;
    }
    *error = "cannot find a free temporary name beside " + path;
    return nullptr;
}

bool finish_file(std::FILE* file, std::string* error) {
    bool ok = std::fflush(file) == 0 && !std::ferror(file);
    if (!ok) *error = last_error_text();
    if (ok && ::fsync(::fileno(file)) != 0 && errno != EINVAL && errno != EROFS) {
        *error = last_error_text();
        ok = false;
    }
    if (std::fclose(file) != 0 && ok) {
        *error = last_error_text();
        ok = false;
    }
    return ok;
}

bool replace_file(const std::string& from, const std::string& to, std::string* error) {
    if (std::rename(from.c_str(), to.c_str()) == 0) return true;
    *error = last_error_text();
    return false;
}

bool remove_file(const std::string& path) { return ::unlink(path.c_str()) == 0; }

}  // namespace effects::detail::platform

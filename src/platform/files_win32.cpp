// File calls on Windows: names are converted to UTF-16 and passed to the
// wide functions; a temporary file is replaced over its target with
// MoveFileExW, which replaces in one step on the same volume.
#include "platform/win32_host.hpp"
#include <io.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "platform/files.hpp"
#include "platform/utf.hpp"

namespace effects::detail::platform {

namespace {

std::wstring wide(const std::string& utf8) {
    const std::u16string w = utf8_to_utf16(utf8);
    return std::wstring(w.begin(), w.end());
}

std::wstring wide_mode(const char* mode) {
    std::wstring m;
    for (; *mode; ++mode) m += static_cast<wchar_t>(*mode);
    return m;
}

std::string windows_error_text(DWORD code) {
    char text[256] = {};
    const DWORD n = FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code, 0, text,
                                   sizeof text, nullptr);
    std::string s(text, n);
    while (!s.empty() && (s.back() == '\n' || s.back() == '\r' || s.back() == ' ')) s.pop_back();
    return s.empty() ? "error " + std::to_string(code) : s;
}

}  // namespace

std::FILE* open_file(const char16_t* name, const char* mode) {
    if (!name) return nullptr;
    return _wfopen(reinterpret_cast<const wchar_t*>(name), wide_mode(mode).c_str());
}

std::FILE* open_file(const char* name, const char* mode) {
    if (!name) return nullptr;
    return _wfopen(wide(name).c_str(), wide_mode(mode).c_str());
}

std::string last_error_text() { return std::strerror(errno); }

std::FILE* create_temporary_beside(const std::string& path, std::string* temp, std::string* error) {
    const uint64_t seed = static_cast<uint64_t>(GetCurrentProcessId()) << 40 ^ GetTickCount64();
    for (uint64_t attempt = 0; attempt < 64; ++attempt) {
        char suffix[40];
        std::snprintf(suffix, sizeof suffix, ".%016llx.tmp", static_cast<unsigned long long>(seed + attempt * 7919));
        const std::string name = path + suffix;
        // "x": fail rather than open a file that exists.
        std::FILE* f = _wfopen(wide(name).c_str(), L"wbx");
        if (f) {
            *temp = name;
            return f;
        }
        if (errno == EEXIST) continue;
        *error = "cannot create " + name + ": " + last_error_text();
        return nullptr;
    }
    *error = "cannot find a free temporary name beside " + path;
    return nullptr;
}

bool finish_file(std::FILE* file, std::string* error) {
    bool ok = std::fflush(file) == 0 && !std::ferror(file);
    if (!ok) *error = last_error_text();
    if (ok && _commit(_fileno(file)) != 0) {
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
    if (MoveFileExW(wide(from).c_str(), wide(to).c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH))
        return true;
    *error = windows_error_text(GetLastError());
    return false;
}

bool remove_file(const std::string& path) { return DeleteFileW(wide(path).c_str()) != 0; }

}  // namespace effects::detail::platform

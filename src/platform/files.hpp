// File calls of the host: opening files by UTF-16 or UTF-8 name (UTF-8 byte
// names on POSIX, wide names on Windows), and the temporary-file-and-rename
// steps by which the checked writers replace a file in one step.
#pragma once

#include <cstdio>
#include <string>

namespace effects::detail::platform {

// fopen of a NUL-terminated UTF-16 or UTF-8 name; nullptr when it fails.
std::FILE* open_file(const char16_t* name, const char* mode);
std::FILE* open_file(const char* name, const char* mode);

// Creates a new, empty file in the folder of `path` and opens it for binary
// writing; *temp receives its name. nullptr and *error on failure.
std::FILE* create_temporary_beside(const std::string& path, std::string* temp, std::string* error);

// Flushes and closes a file written through create_temporary_beside, with
// its data forced to the device; false and *error when any step fails.
bool finish_file(std::FILE* file, std::string* error);

// Renames `from` over `to`, replacing an existing `to` in one step.
bool replace_file(const std::string& from, const std::string& to, std::string* error);

bool remove_file(const std::string& path);

// Text of the C library's last error (errno).
std::string last_error_text();

}  // namespace effects::detail::platform

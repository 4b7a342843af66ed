// libjpeg and libpng report errors through callbacks that must not return:
// both jump back to the setjmp of the decoder or encoder that failed,
// carrying the library's message.
#pragma once

#include <csetjmp>
#include <cstdio>
#include <string>

#include <jpeglib.h>
#include <png.h>

namespace cli::codec {

struct JpegError {
    jpeg_error_mgr mgr;
    std::jmp_buf jump;
    char text[JMSG_LENGTH_MAX];
};

[[noreturn]] inline void jpeg_fail(j_common_ptr info) {
    auto* e = reinterpret_cast<JpegError*>(info->err);
    (*info->err->format_message)(info, e->text);
    std::longjmp(e->jump, 1);
}

// The error pointer of the png struct is a std::string receiving the text.
[[noreturn]] inline void png_fail(png_structp png, png_const_charp message) {
    *static_cast<std::string*>(png_get_error_ptr(png)) = message;
    png_longjmp(png, 1);
}

}  // namespace cli::codec

// Row-array allocation for the filters that keep a ring of rows.
#include "frame/scratch.hpp"

#include <cstdlib>

namespace effects::detail {

uint8_t** AllocateRowArray(int32_t count, int32_t size) {
    if (count < 0 || size < 0) return nullptr;
    auto** rows = static_cast<uint8_t**>(std::malloc(sizeof(uint8_t*) * static_cast<std::size_t>(count ? count : 1)));
    if (!rows) return nullptr;
    for (int32_t i = 0; i < count; ++i) {
        rows[i] = static_cast<uint8_t*>(std::malloc(static_cast<std::size_t>(size ? size : 1)));
        if (!rows[i]) {
            FreeRowArray(rows, i);
            return nullptr;
        }
    }
    return rows;
}

void FreeRowArray(uint8_t** rows, int32_t count) {
    if (!rows) return;
    for (int32_t i = 0; i < count; ++i) std::free(rows[i]);
    std::free(rows);
}

}  // namespace effects::detail

/* The C header compiles as strict C99 and its exports link and run. */
#include <effects/effects.h>
#include <stdio.h>
#include <string.h>

int main(void) {
    uint8_t bytes[8] = {0, 64, 128, 255, 1, 2, 3, 4};
    uint16_t words[8];
    uint8_t back[8];
    int32_t n = Convert32to64Fast(8, bytes, words);
    Convert64to32Fast(8, back, words);
    if (n != 8 || memcmp(bytes, back, sizeof bytes) != 0) {
        fputs("8-bit -> 15-bit -> 8-bit round trip failed\n", stderr);
        return 1;
    }
    if (ConvertRGBEto128(136) != 1.0) {
        fputs("ConvertRGBEto128(136) is not 1\n", stderr);
        return 1;
    }
    printf("effects %s\n", EffectsVersion());
    return 0;
}

// A program outside the project, built against an installed library.
#include <effects/effects.hpp>

#include <algorithm>
#include <cstdio>

int main() {
    effects::Image<effects::Bgra8> in(3, 2);
    for (int i = 0; i < 24; ++i) in.data()[i] = static_cast<unsigned char>(i * 10);
    effects::Image<effects::Rgba16> wide(3, 2);
    effects::convert(in, wide);
    effects::Image<effects::Bgra8> out(3, 2);
    effects::convert(wide, out);
    for (int i = 0; i < 24; ++i)
        if (out.data()[i] != in.data()[i]) return 1;
    // The tone-mapping plug-ins are installed next to the library and found
    // there by name.
    effects::Image<effects::RgbaFloat> hdr(2, 1);
    const float pixels[8] = {0.25f, 0.25f, 0.25f, 1.0f, 4.0f, 4.0f, 4.0f, 1.0f};
    std::copy(pixels, pixels + 8, reinterpret_cast<float*>(hdr.data()));
    for (const char* op : {effects::reinhard, effects::drago}) {
        const effects::Image<effects::Bgra8> shown = effects::tonemap(hdr, op);
        if (shown.data()[4] != 255 || shown.data()[0] == 0 || shown.data()[0] == 255) return 2;
    }
    std::printf("effects %s round trip and tone mapping ok\n", effects::version().c_str());
    return 0;
}

// A program outside the project, built against an installed library.
#include <effects/effects.hpp>

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
    std::printf("effects %s round trip ok\n", effects::version().c_str());
    return 0;
}

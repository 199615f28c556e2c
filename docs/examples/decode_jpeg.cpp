// Decodes a JPEG file with the exported decoder and writes it as a PPM picture.
//
//     decode_jpeg LIBRARY FILE.jpg WIDTH HEIGHT OUTPUT.ppm
//
// LIBRARY is libtalvcodecs.so, or TVDicRd2.ax on Windows; the function is found by name in both.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <vector>

#ifdef _WIN32
#include <windows.h>
#define CODEC_CALL __stdcall
void* FindDecoder(const char* library)
{
    const HMODULE module = LoadLibraryA(library);
    // The decoration belongs to the exported name in both bitnesses.
    return module == nullptr ? nullptr
                             : reinterpret_cast<void*>(GetProcAddress(module, "_fltLoadBufferCMP@36"));
}
#else
#include <dlfcn.h>
#define CODEC_CALL
void* FindDecoder(const char* library)
{
    void* const module = dlopen(library, RTLD_NOW);
    return module == nullptr ? nullptr : dlsym(module, "fltLoadBufferCMP");
}
#endif

using LoadBuffer = int32_t(CODEC_CALL*)(const void* source, uint32_t sourceLength, void* rows, int32_t format,
                                        int32_t width, int32_t height, uint32_t bitsPerPixel, void* tables,
                                        uint32_t flags);

int main(int count, char** arguments)
{
    if (count != 6) {
        std::fprintf(stderr, "usage: decode_jpeg LIBRARY FILE.jpg WIDTH HEIGHT OUTPUT.ppm\n");
        return 2;
    }
    const LoadBuffer load = reinterpret_cast<LoadBuffer>(FindDecoder(arguments[1]));
    if (load == nullptr) {
        std::fprintf(stderr, "%s has no decoder\n", arguments[1]);
        return 1;
    }
    std::ifstream file(arguments[2], std::ios::binary);
    const std::vector<char> stream((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const int width = std::atoi(arguments[3]), height = std::atoi(arguments[4]);
    if (stream.empty() || width < 1 || width > 65535 || height < 1 || height > 65535) {
        std::fprintf(stderr, "no stream or no size\n");
        return 1;
    }

    // Rows are padded to 4 bytes; colour comes as blue, green, red.
    const size_t pitch = (static_cast<size_t>(width) * 24 + 31) / 32 * 4;
    std::vector<uint8_t> rows(pitch * static_cast<size_t>(height));
    const int32_t status = load(stream.data(), static_cast<uint32_t>(stream.size()), rows.data(), 1, width,
                                height, 24, nullptr, 0);
    if (status != 1) {
        std::fprintf(stderr, "the decoder answers %d\n", status);
        return 1;
    }
    std::ofstream picture(arguments[5], std::ios::binary);
    picture << "P6\n" << width << ' ' << height << "\n255\n";
    for (int y = 0; y < height; ++y) {
        const uint8_t* const row = rows.data() + pitch * static_cast<size_t>(y);
        for (int x = 0; x < width; ++x) {
            const char pixel[3] = {static_cast<char>(row[3 * x + 2]), static_cast<char>(row[3 * x + 1]),
                                   static_cast<char>(row[3 * x])};
            picture.write(pixel, 3);
        }
    }
    return picture.good() ? 0 : 1;
}

#pragma once

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "raster/bitmap.h"
#include "raster/raster_settings.h"

namespace talv {
/// Puts the settings back that a test has changed.
class SettingsScope
{
  public:
    SettingsScope() : saved_(rasterSettings) {}
    ~SettingsScope() { rasterSettings = saved_; }

  private:
    RasterSettings saved_;
};

/// A bitmap that is freed with the test.
class TestBitmap
{
  public:
    TestBitmap() { InitBitmap(&bitmap_, kBitmapStructSize, 0, 0, 0); }
    TestBitmap(int32_t width, int32_t height, int32_t bits, uint32_t order = kOrderGrey,
               uint32_t kind = kMemory)
    {
        status = CreateBitmap(&bitmap_, kBitmapStructSize, kind, width, height, bits, order, nullptr, 1,
                              nullptr, 0);
    }
    ~TestBitmap() { FreeBitmap(&bitmap_); }
    TestBitmap(const TestBitmap&) = delete;
    TestBitmap& operator=(const TestBitmap&) = delete;
    ImageBitmap* operator->() { return &bitmap_; }
    operator ImageBitmap*() { return &bitmap_; }

    int32_t status = 0;

  private:
    ImageBitmap bitmap_;
};

inline std::vector<uint8_t> RandomBytes(size_t count, uint32_t seed)
{
    std::mt19937 random(seed);
    std::vector<uint8_t> bytes(count);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
    return bytes;
}
}  // namespace talv

#include "codecs/j2k/j2k_wavelet.h"

#include <algorithm>
#include <memory>

#include "codecs/j2k/j2k_wavelet_rows.h"
#include "platform/cpu.h"

namespace talv {
namespace {
constexpr int64_t kStripColumns = 128;  // 512 bytes of a few rows stay in the first-level cache
constexpr int64_t kStripRows = 16;

/// One level: the rows of a resolution as they lie in the coefficients.
template <class T>
struct Level
{
    T* first;
    size_t rowStep;  ///< elements between two rows of this resolution
    int64_t width, height, lowWidth;
    int firstX, firstY;  ///< parity of the first column and row

    T* Row(int64_t y) const { return first + static_cast<size_t>(y) * rowStep; }
};

/// Runs `steps` lifting steps down a strip of columns: step s works on the even rows when s is even. Each row
/// is touched by all steps while it is near.
template <class T, class Lift>
void LiftColumns(const Level<T>& level, int steps, size_t column, Lift lift)
{
    const auto mirrored = [&](int64_t y) {
        return level.Row(y < 0 ? -y : y >= level.height ? 2 * level.height - 2 - y : y) + column;
    };
    for (int64_t t = 0; t < level.height + steps - 1; ++t) {
        for (int step = 0; step < steps; ++step) {
            const int64_t y = t - step;
            if (y < 0 || y >= level.height || ((y + level.firstY + step) & 1) != 0) continue;
            lift(step, level.Row(y) + column, mirrored(y - 1), mirrored(y + 1));
        }
    }
}

template <class T, class RowWork, class StripWork>
void ReconstructLevel(const Level<T>& level, CodecWorkers& workers, RowWork rowWork, StripWork stripWork)
{
    const int64_t strips = (level.height + kStripRows - 1) / kStripRows;
    const bool small = level.width * level.height < 16384;
    const auto rows = [&](size_t strip, unsigned thread) {
        const int64_t from = static_cast<int64_t>(strip) * kStripRows;
        for (int64_t y = from; y < std::min(from + kStripRows, level.height); ++y)
            rowWork(level.Row(y), thread);
    };
    const int64_t columnStrips = (level.width + kStripColumns - 1) / kStripColumns;
    const auto columns = [&](size_t strip, unsigned) {
        const int64_t from = static_cast<int64_t>(strip) * kStripColumns;
        stripWork(static_cast<size_t>(from),
                  static_cast<size_t>(std::min(kStripColumns, level.width - from)));
    };
    if (small) {
        for (int64_t i = 0; i < strips; ++i) rows(static_cast<size_t>(i), 0);
        for (int64_t i = 0; i < columnStrips; ++i) columns(static_cast<size_t>(i), 0);
    } else {
        workers.Run(static_cast<size_t>(strips), rows);
        workers.Run(static_cast<size_t>(columnStrips), columns);
    }
}

template <class T>
Level<T> LevelOf(const J2kTileComponent& component, int r, T* coefficients)
{
    const J2kResolution& resolution = component.resolutions[static_cast<size_t>(r)];
    const J2kRect& lower = component.resolutions[static_cast<size_t>(r) - 1].rect;
    const int above = component.style.levels - r;
    return {coefficients + static_cast<size_t>(resolution.firstRow) * component.stride,
            component.stride << std::min(above, 31),
            resolution.rect.Width(),
            resolution.rect.Height(),
            lower.Width(),
            static_cast<int>(resolution.rect.x0 & 1),
            static_cast<int>(resolution.rect.y0 & 1)};
}

void ReconstructLevel53(const Level<int32_t>& level, CodecWorkers& workers, int32_t* spare, size_t spareSize)
{
    const J2kWaveletKernels& kernels = BestJ2kWaveletKernels();
    ReconstructLevel(
        level, workers,
        [&](int32_t* row, unsigned thread) {
            kernels.row53(row, spare + thread * spareSize, static_cast<size_t>(level.lowWidth),
                          static_cast<size_t>(level.width - level.lowWidth), level.firstX);
        },
        [&](size_t column, size_t count) {
            if (level.height == 1) {
                if (level.firstY == 1) {
                    for (size_t i = 0; i < count; ++i) level.first[column + i] >>= 1;
                }
                return;
            }
            LiftColumns(level, 2, column, [&](int step, int32_t* target, const int32_t* a, const int32_t* b) {
                (step == 0 ? kernels.update53 : kernels.predict53)(target, a, b, count);
            });
        });
}

void ReconstructLevel97(const Level<float>& level, CodecWorkers& workers, float* spare, size_t spareSize)
{
    const J2kWaveletKernels& kernels = BestJ2kWaveletKernels();
    ReconstructLevel(
        level, workers,
        [&](float* row, unsigned thread) {
            kernels.row97(row, spare + thread * spareSize, static_cast<size_t>(level.lowWidth),
                          static_cast<size_t>(level.width - level.lowWidth), level.firstX);
        },
        [&](size_t column, size_t count) {
            if (level.height == 1) return;
            LiftColumns(level, 4, column, [&](int step, float* target, const float* a, const float* b) {
                kernels.lift97(target, a, b, kLift97[step], count);
            });
        });
}
}  // namespace

const J2kWaveletKernels& PlainJ2kWaveletKernels()
{
    return kKernels;
}

const J2kWaveletKernels& BestJ2kWaveletKernels()
{
#if defined(__x86_64__) || defined(__i386__)
    static const J2kWaveletKernels& best =
        DetectedSimdLevel() >= SimdLevel::avx2 ? Avx2J2kWaveletKernels() : PlainJ2kWaveletKernels();
    return best;
#else
    return PlainJ2kWaveletKernels();
#endif
}

void ReconstructJ2kComponent(const J2kTileComponent& component, CodecWorkers& workers)
{
    const size_t spareSize = static_cast<size_t>(component.rect.Width()) + 16;
    // Four bytes hold an element of either kind.
    const std::unique_ptr<int32_t[]> spare(new int32_t[spareSize * workers.Count()]);
    const std::unique_ptr<float[]> realSpare(
        new float[component.style.reversible ? 1 : spareSize * workers.Count()]);
    for (int r = 1; r <= component.style.levels; ++r) {
        if (component.resolutions[static_cast<size_t>(r)].rect.Empty()) continue;
        if (component.style.reversible)
            ReconstructLevel53(LevelOf(component, r, component.coefficients), workers, spare.get(),
                               spareSize);
        else
            ReconstructLevel97(LevelOf(component, r, component.realCoefficients), workers, realSpare.get(),
                               spareSize);
    }
}
}  // namespace talv

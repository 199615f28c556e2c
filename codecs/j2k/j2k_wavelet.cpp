#include "codecs/j2k/j2k_wavelet.h"

#include <algorithm>
#include <new>

#include "codecs/j2k/j2k_memory.h"
#include "codecs/j2k/j2k_wavelet_rows.h"
#include "platform/cpu.h"

namespace talv {
namespace {
// Below this many samples a level is not worth a second thread.
constexpr int64_t kSharedLevel = 1 << 15;
constexpr int64_t kSmallestBand = 32;

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

struct Whole  // 5/3
{
    using Sample = int32_t;
    static constexpr int kSteps = 2;
    static int32_t* Coefficients(const J2kTileComponent& component) { return component.coefficients; }
    static void RebuildRow(const Level<int32_t>& level, int32_t* row, int32_t* spare)
    {
        BestJ2kWaveletKernels().row53(row, spare, static_cast<size_t>(level.lowWidth),
                                      static_cast<size_t>(level.width - level.lowWidth), level.firstX);
    }
    static void Lift(int step, int32_t* target, const int32_t* a, const int32_t* b, size_t count)
    {
        const J2kWaveletKernels& kernels = BestJ2kWaveletKernels();
        (step == 0 ? kernels.update53 : kernels.predict53)(target, a, b, count);
    }
    static void HalveSingleRow(int32_t* row, int64_t count)
    {
        for (int64_t i = 0; i < count; ++i) row[i] >>= 1;
    }
};

struct Real  // 9/7
{
    using Sample = float;
    static constexpr int kSteps = 4;
    static float* Coefficients(const J2kTileComponent& component) { return component.realCoefficients; }
    static void RebuildRow(const Level<float>& level, float* row, float* spare)
    {
        BestJ2kWaveletKernels().row97(row, spare, static_cast<size_t>(level.lowWidth),
                                      static_cast<size_t>(level.width - level.lowWidth), level.firstX);
    }
    static void Lift(int step, float* target, const float* a, const float* b, size_t count)
    {
        BestJ2kWaveletKernels().lift97(target, a, b, kLift97[step], count);
    }
    static void HalveSingleRow(float*, int64_t) {}  // the step of its band holds it
};

/// A band of rows of one level and what its thread works with. A row depends on as many rows above and below
/// as there are lifting steps; those of the neighbouring bands are copied before any band changes them.
template <class Kind>
class Band
{
  public:
    using T = typename Kind::Sample;

    /// `scratch` holds the rows of `ScratchRows`, `rowSize` elements each.
    Band(const Level<T>& level, int64_t from, int64_t to, T* scratch, size_t rowSize)
        : level_(level),
          from_(from),
          to_(to),
          rowSize_(rowSize),
          first_(std::max<int64_t>(0, from - Kind::kSteps)),
          end_(std::min(level.height, to + Kind::kSteps)),
          spare_(scratch),
          above_(spare_ + rowSize_),
          below_(above_ + static_cast<size_t>(from_ - first_) * rowSize_)
    {
        for (int64_t y = first_; y < from_; ++y) std::copy_n(level_.Row(y), level_.width, Row(y));
        for (int64_t y = to_; y < end_; ++y) std::copy_n(level_.Row(y), level_.width, Row(y));
    }

    T* ScratchEnd() const { return below_ + static_cast<size_t>(end_ - to_) * rowSize_; }

    /// Rebuilds the rows horizontally one after the other and runs the vertical lifting steps close behind,
    /// so that a row is touched by all of them while it is near. Step s works on the even rows when s is
    /// even.
    void Reconstruct()
    {
        Kind::RebuildRow(level_, Row(first_), spare_);
        if (level_.height == 1) {
            if (level_.firstY == 1) Kind::HalveSingleRow(level_.first, level_.width);
            return;
        }
        for (int64_t t = first_; t < end_ + Kind::kSteps - 1; ++t) {
            if (t + 1 < end_) Kind::RebuildRow(level_, Row(t + 1), spare_);
            for (int step = 0; step < Kind::kSteps; ++step) {
                const int64_t y = t - step;
                if (((y + level_.firstY + step) & 1) != 0) continue;
                // Every step loses a row at a border to the next band.
                if (y < first_ + (first_ > 0 ? step + 1 : 0)) continue;
                if (y >= end_ - (end_ < level_.height ? step + 1 : 0)) continue;
                Kind::Lift(step, Row(y), Row(Mirrored(y - 1)), Row(Mirrored(y + 1)),
                           static_cast<size_t>(level_.width));
            }
        }
    }

  private:
    int64_t Mirrored(int64_t y) const
    {
        return y < 0 ? -y : y >= level_.height ? 2 * level_.height - 2 - y : y;
    }

    T* Row(int64_t y) const
    {
        if (y < from_) return above_ + static_cast<size_t>(y - first_) * rowSize_;
        if (y >= to_) return below_ + static_cast<size_t>(y - to_) * rowSize_;
        return level_.Row(y);
    }

    Level<T> level_;
    int64_t from_, to_;  ///< the band's own rows
    size_t rowSize_;
    int64_t first_, end_;  ///< with those it depends on
    T* spare_;
    T* above_;
    T* below_;
};

/// Bands that a level of that size is shared in.
template <class T>
int64_t BandCount(const Level<T>& level, unsigned threads)
{
    if (level.width * level.height < kSharedLevel) return 1;
    return std::clamp<int64_t>(level.height / kSmallestBand, 1, threads);
}

/// Rows of memory that so many bands of a level work with: one each to rebuild rows in, and copies of the
/// rows that neighbours depend on.
template <class Kind>
constexpr size_t ScratchRows(int64_t bands)
{
    return static_cast<size_t>(bands + (bands - 1) * 2 * Kind::kSteps);
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

/// Memory for the bands of any level; elements of both kinds have four bytes.
struct Scratch
{
    J2kMemory memory;
    size_t rowSize;
};

Scratch MakeScratch(const std::vector<J2kTileComponent>& components, unsigned threads)
{
    int64_t widest = 0;
    size_t rows = 0;
    for (const J2kTileComponent& component : components) {
        if (component.rect.Empty() || component.style.levels == 0) continue;
        widest = std::max(widest, component.rect.Width());
        rows += ScratchRows<Real>(
            BandCount(LevelOf(component, component.style.levels, component.realCoefficients), threads));
    }
    // Room beside a row for what a kernel reads ahead, and rows on different cache lines.
    const size_t rowSize = (static_cast<size_t>(widest) + 47) & ~size_t{15};
    Scratch scratch{TakeJ2kMemory(rows * rowSize * 4), rowSize};
    if (scratch.memory == nullptr) throw std::bad_alloc();
    return scratch;
}

/// Level `r` of all components of one kind that have it.
template <class Kind>
void ReconstructLevel(const std::vector<J2kTileComponent>& components, bool reversible, int r,
                      const Scratch& scratch, CodecWorkers& workers)
{
    using T = typename Kind::Sample;
    std::vector<Band<Kind>> bands;
    T* memory = static_cast<T*>(scratch.memory.get());
    bool shared = false;
    for (const J2kTileComponent& component : components) {
        if (component.rect.Empty() || component.style.reversible != reversible ||
            r > component.style.levels || component.resolutions[static_cast<size_t>(r)].rect.Empty())
            continue;
        const Level<T> level = LevelOf(component, r, Kind::Coefficients(component));
        const int64_t count = BandCount(level, workers.Count());
        shared = shared || level.width * level.height >= kSharedLevel;
        T* next = memory;
        for (int64_t i = 0; i < count; ++i) {
            bands.emplace_back(level, level.height * i / count, level.height * (i + 1) / count, next,
                               scratch.rowSize);
            next = bands.back().ScratchEnd();
        }
        memory = next;
    }
    const auto reconstruct = [&](size_t i, unsigned) { bands[i].Reconstruct(); };
    if (shared) {
        workers.Run(bands.size(), reconstruct);
    } else {
        for (size_t i = 0; i < bands.size(); ++i) reconstruct(i, 0);
    }
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

void ReconstructJ2kComponents(const std::vector<J2kTileComponent>& components, CodecWorkers& workers)
{
    int levels = 0;
    for (const J2kTileComponent& component : components) levels = std::max(levels, component.style.levels);
    if (levels == 0) return;
    const Scratch scratch = MakeScratch(components, workers.Count());
    for (int r = 1; r <= levels; ++r) {
        ReconstructLevel<Whole>(components, true, r, scratch, workers);
        ReconstructLevel<Real>(components, false, r, scratch, workers);
    }
}
}  // namespace talv

// Opening large files, beside the packaged DICOM libraries found when the program was built: the tree is
// built and no pixel is decoded. Generated files, warm in the system's cache; the libraries take turns, so
// that a slow moment of the machine meets all of them. One line per case and library:
//
//     case  library  median ms  fastest ms  ns/element  times as long as ours
//
//     open_bench [ROUNDS]      default 15

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "dicom/reader.h"
#include "tests/support/dicom_builder.h"

#ifdef TALV_BENCH_DCMTK
#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dctk.h>
#endif
#ifdef TALV_BENCH_GDCM
#include <gdcmReader.h>
#endif

namespace talv {
namespace {
constexpr int kFrames = 2000;
constexpr int kFragments = 10000;
constexpr size_t kFragmentBytes = 5 * 1024;

/// The functional groups of one frame: 20 sequences of one item with five elements.
void AddFrame(DicomBuilder* builder, bool undefinedLengths)
{
    static constexpr uint32_t kGroups[] = {0x00081140, 0x00082112, 0x00089092, 0x00089124, 0x0008912A,
                                           0x00180012, 0x00189006, 0x00189042, 0x00189049, 0x00189084,
                                           0x00189103, 0x00189112, 0x00189114, 0x00189115, 0x00189152,
                                           0x00189301, 0x00209111, 0x00209113, 0x00209116, 0x00289110};
    builder->BeginItem(undefinedLengths);
    for (const uint32_t group : kGroups) {
        builder->BeginSequence(group, undefinedLengths).BeginItem(undefinedLengths);
        builder->Ui(0x00081150, "1.2.840.10008.5.1.4.1.1.4.1");
        builder->Ui(0x00081155, "1.2.826.0.1.3680043.8.498.45787841905955114179210346189012345678");
        builder->Ds(0x00189073, "123.456789");
        builder->Ds(0x00200032, "-123.456789\\-234.567891\\345.678912");
        builder->Ds(0x00200037, "0.998765\\0.012345\\-0.048123\\-0.011987\\0.999876\\0.007654");
        builder->EndItem().EndSequence();
    }
    builder->EndItem();
}

/// An enhanced multi-frame object with 282,033 elements and hardly any pixels.
ByteVector EnhancedMultiFrame(bool undefinedLengths)
{
    DicomBuilder builder = PreambleFile().ExplicitLittle();
    builder.Ui(0x00080016, "1.2.840.10008.5.1.4.1.1.4.1").Cs(0x00080060, "MR").Pn(0x00100010, "Doe^Jane");
    for (uint32_t i = 0; i < 16; ++i) builder.Lo(0x00181000 + i, "filler");
    builder.Image({.rows = 1, .columns = 2, .numberOfFrames = std::to_string(kFrames)});
    builder.BeginSequence(0x52009230, undefinedLengths);
    for (int i = 0; i < kFrames; ++i) AddFrame(&builder, undefinedLengths);
    builder.EndSequence().NativePixels(ByteVector(2 * kFrames, 0));
    return builder.Bytes();
}

ByteVector ManyFragments()
{
    DicomBuilder builder = PreambleFile().ExplicitLittle("1.2.840.10008.1.2.4.50");
    builder.Image({.rows = 64, .columns = 64, .numberOfFrames = std::to_string(kFragments)});
    builder.BeginFragments();
    const ByteVector fragment(kFragmentBytes, 0xA5);
    for (int i = 0; i < kFragments; ++i) builder.Fragment(fragment);
    return builder.EndFragments().Bytes();
}

struct Library
{
    const char* name;
    std::function<bool(const char* path)> open;
    std::vector<double> times;
};

std::vector<Library> Libraries()
{
    std::vector<Library> libraries;
    libraries.push_back({"ours",
                         [](const char* path) {
                             DicomDataSet dataSet;
                             return LoadFile(&dataSet, path, 0) == kDicomOk;
                         },
                         {}});
#ifdef TALV_BENCH_DCMTK
    libraries.push_back(
        {"dcmtk", [](const char* path) { return DcmFileFormat().loadFile(path).good(); }, {}});
#endif
#ifdef TALV_BENCH_GDCM
    libraries.push_back({"gdcm",
                         [](const char* path) {
                             gdcm::Reader reader;
                             reader.SetFileName(path);
                             return reader.Read();
                         },
                         {}});
#endif
    return libraries;
}

size_t CountElements(const char* path)
{
    DicomDataSet dataSet;
    LoadFile(&dataSet, path, 0);
    size_t count = 0;
    for (auto* node = dataSet.tree.first; node != nullptr; node = NextInPreOrder(node)) ++count;
    return count;
}

bool RunCase(const char* name, const ByteVector& bytes, int rounds)
{
    const TemporaryFile file(bytes);
    const size_t elements = CountElements(file.Path());
    std::printf("%s: %zu elements, %.1f MB\n", name, elements, static_cast<double>(bytes.size()) / 1e6);
    std::vector<Library> libraries = Libraries();
    for (int round = 0; round < rounds; ++round) {
        for (Library& library : libraries) {
            const auto start = std::chrono::steady_clock::now();
            if (!library.open(file.Path())) {
                std::printf("%s cannot open the file\n", library.name);
                return false;
            }
            const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
            library.times.push_back(taken.count());
        }
    }
    double ours = 0;
    for (Library& library : libraries) {
        std::sort(library.times.begin(), library.times.end());
        const double median = library.times[library.times.size() / 2];
        if (ours == 0) ours = median;
        std::printf("  %-6s %8.2f %8.2f %8.1f %6.2f\n", library.name, median, library.times.front(),
                    median * 1e6 / static_cast<double>(elements), median / ours);
    }
    return true;
}
}  // namespace
}  // namespace talv

int main(int count, char** arguments)
{
    using namespace talv;
    const int rounds = std::max(1, count > 1 ? std::atoi(arguments[1]) : 15);
#ifndef TALV_BENCH_DCMTK
    std::printf("dcmtk: skipped, its library was not there when this was built\n");
#endif
#ifndef TALV_BENCH_GDCM
    std::printf("gdcm: skipped, its library was not there when this was built\n");
#endif
    const bool all = RunCase("enhanced, defined lengths", EnhancedMultiFrame(false), rounds) &&
                     RunCase("enhanced, undefined lengths", EnhancedMultiFrame(true), rounds) &&
                     RunCase("fragments", ManyFragments(), rounds);
    return all ? 0 : 1;
}

// Two thousand times a file is opened, played and closed again; what the process holds must not grow.
#include <windows.h>
// A block of its own: this header needs the one above.
#include <psapi.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "tests/directshow/component_fixture.h"

namespace talv {
namespace {
constexpr int kCycles = 2000, kBetween = 100, kWarmUp = 500;

// What this process holds of the system.
struct Holding
{
    const char* name;
    double (*count)();
    double bound;  // growth that may pass, for 100 cycles
};

double PrivateBytes()
{
    PROCESS_MEMORY_COUNTERS counters = {};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters));
    return static_cast<double>(counters.PagefileUsage);
}

// Bytes of all blocks that are in use on the process's heaps.
double HeapBytes()
{
    std::array<HANDLE, 64> heaps;
    const DWORD count = GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
    size_t bytes = 0;
    for (DWORD i = 0; i < std::min<DWORD>(count, static_cast<DWORD>(heaps.size())); ++i) {
        PROCESS_HEAP_ENTRY entry = {};
        HeapLock(heaps[i]);
        while (HeapWalk(heaps[i], &entry))
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0) bytes += entry.cbData;
        HeapUnlock(heaps[i]);
    }
    return static_cast<double>(bytes);
}

// Wine counts none of the following. For handles and GDI objects the slot that a new one gets tells: they
// number the entries of a table, the first free one is taken, and leaked ones keep theirs.

double Handles()
{
    DWORD count = 0;
    if (GetProcessHandleCount(GetCurrentProcess(), &count) && count > 1) return count;
    const HANDLE event = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    const auto slot = reinterpret_cast<ULONG_PTR>(event) / 4;
    CloseHandle(event);
    return static_cast<double>(slot);
}

double GdiObjects()
{
    if (const DWORD counted = GetGuiResources(GetCurrentProcess(), GR_GDIOBJECTS)) return counted;
    const HBRUSH brush = CreateSolidBrush(0x123456);
    const auto slot = LOWORD(reinterpret_cast<ULONG_PTR>(brush));
    DeleteObject(brush);
    return slot;
}

double UserObjects()
{
    if (const DWORD counted = GetGuiResources(GetCurrentProcess(), GR_USEROBJECTS)) return counted;
    int windows = 0;
    for (const HWND parent : {HWND{nullptr}, HWND_MESSAGE})
        for (HWND window = nullptr; (window = FindWindowExW(parent, window, nullptr, nullptr)) != nullptr;) {
            DWORD process = 0;
            GetWindowThreadProcessId(window, &process);
            windows += process == GetCurrentProcessId();
        }
    return windows;
}

const Holding kHoldings[] = {{"private bytes", PrivateBytes, 16384},
                             {"heap bytes", HeapBytes, 1024},
                             {"handles", Handles, 0.2},
                             {"GDI objects", GdiObjects, 0.2},
                             {"USER objects", UserObjects, 0.2}};

// Slope of the line through the points (i, values[i]) with the least squares.
double Slope(const std::vector<double>& values)
{
    const double count = static_cast<double>(values.size()), middle = (count - 1) / 2;
    double above = 0, below = 0;
    for (size_t i = 0; i < values.size(); ++i) {
        const double x = static_cast<double>(i) - middle;
        above += x * values[i];
        below += x * x;
    }
    return above / below;
}

class Soak : public ComponentTest
{
  protected:
    static void EmptyGraph()
    {
        ComPointer<IGraphBuilder> graph;
        CoCreateInstance(CLSID_FilterGraph, nullptr, CLSCTX_INPROC_SERVER, IID_IGraphBuilder,
                         graph.OutVoid());
    }
    static void Cycle(int round, const char* path)
    {
        const ComPointer<IBaseFilter> filter = MakeFilter();
        ASSERT_EQ(LoadPath(filter.Get(), path), S_OK);
        TestGraph graph(filter.Get());
        ASSERT_EQ(graph.connected, S_OK);
        ASSERT_TRUE(SUCCEEDED(graph.Run()));
        // Every fourth graph is torn down while a frame is on its way.
        EXPECT_TRUE(round % 4 == 0 || graph.WaitForEnd());
    }
};

TEST_F(Soak, TwoThousandCyclesLeaveNothingBehind)
{
    const TemporaryFile clip = GreyClip(5).Save();
    const std::string colour = TALV_TEST_DATA "/samples/jpeg-ybr-3x3.dcm";
    EmptyGraph();  // the first one loads the library
    // The system's own graph leaves some bytes behind even when nothing was in it (Wine's: 48).
    const double before = HeapBytes();
    for (int i = 0; i < kBetween; ++i) EmptyGraph();
    const double systemsOwn = HeapBytes() - before;

    std::vector<double> series[std::size(kHoldings)];
    for (int round = 0; round < kCycles; ++round) {
        if (round >= kWarmUp && round % kBetween == 0)
            for (size_t i = 0; i < std::size(kHoldings); ++i) series[i].push_back(kHoldings[i].count());
        Cycle(round, round % 2 == 0 ? clip.Path() : colour.c_str());
        ASSERT_EQ(Server::Get().canUnloadNow(), S_OK);
    }
    for (size_t i = 0; i < std::size(kHoldings); ++i) {
        std::ostringstream values;
        values << kHoldings[i].name << ", growth of " << Slope(series[i]) << " in " << kBetween << " cycles:";
        for (const double value : series[i]) values << ' ' << static_cast<int64_t>(value);
        std::printf("%s\n", values.str().c_str());
        const double allowed = kHoldings[i].count == HeapBytes ? systemsOwn : 0;
        EXPECT_LE(Slope(series[i]), kHoldings[i].bound + allowed) << values.str();
    }
}

// The same figures for a program that does leak, one of each for every second cycle.
TEST_F(Soak, TheFiguresNoticeALeak)
{
    std::vector<double> series[std::size(kHoldings)];
    std::vector<void*> blocks;
    std::vector<HANDLE> events;
    std::vector<HBRUSH> brushes;
    std::vector<HWND> windows;
    for (int i = 0; i < 6; ++i) {
        for (int n = 0; n < 50; ++n) {
            blocks.push_back(std::calloc(1, 4096));
            events.push_back(CreateEventW(nullptr, FALSE, FALSE, nullptr));
            brushes.push_back(CreateSolidBrush(static_cast<COLORREF>(n)));
            windows.push_back(
                CreateWindowW(L"STATIC", L"", 0, 0, 0, 1, 1, HWND_MESSAGE, nullptr, nullptr, nullptr));
        }
        for (size_t k = 0; k < std::size(kHoldings); ++k) series[k].push_back(kHoldings[k].count());
    }
    for (size_t k = 0; k < std::size(kHoldings); ++k)
        EXPECT_GT(Slope(series[k]), kHoldings[k].bound) << kHoldings[k].name;
    for (void* block : blocks) std::free(block);
    for (const HANDLE event : events) CloseHandle(event);
    for (const HBRUSH brush : brushes) DeleteObject(brush);
    for (const HWND window : windows) DestroyWindow(window);
}
}  // namespace
}  // namespace talv

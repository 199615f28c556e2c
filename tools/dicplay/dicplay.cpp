// Plays a DICOM file through the component in a real filter graph: in a window, or without one for scripts.
#include <objbase.h>
#include <windows.h>

#include <cstdio>

#include "play_options.h"
#include "player.h"

namespace {
constexpr int kPlayed = 0, kRefused = 1, kWrongUsage = 2;

int Complain(const std::wstring& file, const std::string& problem)
{
    char name[1024] = {};
    WideCharToMultiByte(CP_ACP, 0, file.c_str(), -1, name, sizeof(name) - 1, nullptr, nullptr);
    std::fprintf(stderr, "dicplay: %s: %s\n", name, problem.c_str());
    return kRefused;
}

int SumUp(const talv::PlayOptions& options, const talv::PlayGraph& graph)
{
    graph.PrintSummary();
    if (!options.snapshot.empty() && !graph.WriteSnapshot())
        return Complain(options.file, "the snapshot could not be written");
    return kPlayed;
}

// Plays to the end, again and again with --loop, into a null renderer.
std::string PlayWithoutWindow(talv::PlayGraph* graph, bool loop)
{
    const std::string problem = graph->Run();
    if (!problem.empty()) return problem;
    for (;;) {
        const HANDLE news = graph->NewsHandle();
        WaitForSingleObject(news, 200);
        const talv::GraphNews got = graph->Poll();
        if (got == talv::GraphNews::failed) break;
        if (got == talv::GraphNews::ended && !(loop && graph->Seek(0))) break;
    }
    graph->Stop();
    return graph->Failure();
}

int PlayFile(const talv::PlayOptions& options)
{
    talv::PlayGraph graph(options, nullptr);
    std::string problem = graph.Open(options.file);
    if (problem.empty() && options.properties) problem = graph.ShowProperties(nullptr);
    if (problem.empty()) problem = PlayWithoutWindow(&graph, options.loop);
    return problem.empty() ? SumUp(options, graph) : Complain(options.file, problem);
}

int PlayInWindow(const talv::PlayOptions& options)
{
    // A console of its own is in the way of a player started from the desktop.
    DWORD self = 0;
    if (GetConsoleProcessList(&self, 1) == 1) FreeConsole();
    talv::Player player(options);
    const std::string problem = player.Run();
    if (!problem.empty()) return Complain(options.file, problem);
    return player.Graph() != nullptr ? SumUp(options, *player.Graph()) : kPlayed;
}
}  // namespace

int main()
{
    talv::PlayOptions options;
    if (!talv::ReadOptions(&options)) return kWrongUsage;
    // The component then writes its notices to standard error.
    if (options.quiet || options.null) SetEnvironmentVariableW(L"TALV_NO_NOTICE", L"1");
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return kRefused;
    const int status = options.null ? PlayFile(options) : PlayInWindow(options);
    CoUninitialize();
    return status;
}

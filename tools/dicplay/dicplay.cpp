// Plays a DICOM file through the component in a real filter graph.
#include <objbase.h>
#include <windows.h>

#include <cstdio>

#include "play_graph.h"
#include "play_options.h"

namespace {
constexpr int kPlayed = 0, kRefused = 1, kWrongUsage = 2;

int Complain(const talv::PlayOptions& options, const std::string& problem)
{
    char name[1024] = {};
    WideCharToMultiByte(CP_ACP, 0, options.file.c_str(), -1, name, sizeof(name) - 1, nullptr, nullptr);
    std::fprintf(stderr, "dicplay: %s: %s\n", name, problem.c_str());
    return kRefused;
}

int PlayFile(const talv::PlayOptions& options)
{
    talv::PlayGraph graph(options);
    std::string problem = graph.LoadSource();
    if (problem.empty()) problem = graph.Build();
    if (problem.empty() && options.properties) problem = graph.ShowProperties();
    if (problem.empty()) problem = graph.Play();
    if (!problem.empty()) return Complain(options, problem);
    graph.PrintSummary();
    if (!options.snapshot.empty() && !graph.WriteSnapshot())
        return Complain(options, "the snapshot could not be written");
    return kPlayed;
}
}  // namespace

int main()
{
    talv::PlayOptions options;
    if (!talv::ReadOptions(&options)) return kWrongUsage;
    // The component then writes its notices to standard error.
    if (options.quiet || options.null) SetEnvironmentVariableW(L"TALV_NO_NOTICE", L"1");
    if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) return kRefused;
    const int status = PlayFile(options);
    CoUninitialize();
    return status;
}

#pragma once

#include <dshow.h>

namespace talv {
/// The graph that a filter stands in and the filter's name there. Guarded by the filter's own lock.
struct GraphPlace
{
    IFilterGraph* graph = nullptr;  ///< not counted: the graph owns the filter
    WCHAR name[MAX_FILTER_NAME] = {};

    void Join(IFilterGraph* joined, LPCWSTR given)
    {
        graph = joined;
        lstrcpynW(name, given != nullptr ? given : L"", MAX_FILTER_NAME);
    }

    void Describe(FILTER_INFO* out) const
    {
        lstrcpynW(out->achName, name, MAX_FILTER_NAME);
        out->pGraph = graph;
        if (graph != nullptr) graph->AddRef();
    }
};
}  // namespace talv

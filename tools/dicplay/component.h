#pragma once

#include <dshow.h>

#include <string>

#include "filter/directshow/com_pointer.h"

namespace talv {
/// Makes the reader: the registered one, or, with a path, the one in that file without registration. The
/// result of the failed call otherwise.
HRESULT MakeReaderFilter(const std::wstring& serverPath, ComPointer<IBaseFilter>* out);
/// Makes the grey display: the one in TVGreyDisplay.ax beside the reader's file, if a path is given, else the
/// registered one, else the one beside this program.
HRESULT MakeGreyDisplayFilter(const std::wstring& serverPath, ComPointer<IBaseFilter>* out);
/// Connects two pins with a type of their own choice.
HRESULT ConnectPins(IGraphBuilder* graph, IPin* output, IPin* input);
/// The first pin of `filter` with this direction; null when there is none.
ComPointer<IPin> FindPin(IBaseFilter* filter, PIN_DIRECTION direction);
}  // namespace talv

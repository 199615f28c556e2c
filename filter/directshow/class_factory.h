#pragma once

#include "filter/directshow/class_table.h"

namespace talv {
/// The class object of `entry` as interface `iid`.
HRESULT GetClassObject(const ClassEntry& entry, REFIID iid, void** out);
}  // namespace talv

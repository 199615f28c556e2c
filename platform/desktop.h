#pragma once

#include <cstdint>

namespace talv {
/// The system's own way of telling the user something; ShowNotice ends here when no sink is set.
void ShowOnDesktop(const char* text, const char* title, uint32_t style);
}  // namespace talv

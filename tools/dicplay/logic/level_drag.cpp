#include "tools/dicplay/logic/level_drag.h"

#include <algorithm>

namespace talv {
GreyLevelWindow DragWindow(const GreyLevelWindow& start, double right, double down, double across,
                           double fileWidth, double smallest, double largest)
{
    const double step = 2 * std::max(fileWidth, 16.0) / std::max(across, 1.0);
    const double range = std::max(largest - smallest, 1.0);
    GreyLevelWindow window;
    window.center = std::clamp(start.center + down * step, smallest, std::max(smallest, largest));
    window.width = std::clamp(start.width + right * step, 1.0, 2 * range);
    return window;
}
}  // namespace talv

#pragma once

namespace talv {
/// A window of grey values: center and width.
struct GreyLevelWindow
{
    double center = 0, width = 1;
};

/// The window after the mouse was dragged by (`right`, `down`) pixels from where `start` held: to the right
/// wider, down darker. A drag over the whole picture (`across` pixels) changes center and width by twice the
/// file's own width, so that wide and narrow windows handle alike. The width stays at least 1 and at most
/// twice the `range` of values, the center within the range.
GreyLevelWindow DragWindow(const GreyLevelWindow& start, double right, double down, double across,
                           double fileWidth, double smallest, double largest);
}  // namespace talv

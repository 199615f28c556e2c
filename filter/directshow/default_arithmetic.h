#pragma once

#include <xmmintrin.h>

#include <cstdint>

namespace talv {
/// While it lives, this thread computes as a fresh one does: rounding to nearest, no trap, small numbers
/// kept. Hosts may have changed that, and traps would end in their exception handlers. What they had, flags
/// included, comes back at the end.
class DefaultArithmetic
{
  public:
    DefaultArithmetic() : vectorState_(_mm_getcsr())
    {
        const uint16_t control = 0x027F;  // the system's: all masked, 53 bits, to nearest
        asm volatile("fnstenv %0" : "=m"(x87State_));
        asm volatile("fldcw %0" : : "m"(control));
        _mm_setcsr(0x1F80);
    }
    ~DefaultArithmetic()
    {
        _mm_setcsr(vectorState_);
        asm volatile("fldenv %0" : : "m"(x87State_));
    }
    DefaultArithmetic(const DefaultArithmetic&) = delete;
    DefaultArithmetic& operator=(const DefaultArithmetic&) = delete;

  private:
    const uint32_t vectorState_;
    uint8_t x87State_[28];
};
}  // namespace talv

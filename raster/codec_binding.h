#pragma once

#include <cstdint>

#include "raster/raster_status.h"

namespace talv {
/// Formats whose codecs the host process may bring along as exported functions.
enum class BoundCodec : uint32_t
{
    cmp = 0,
    fax = 1,
};

/// A function of a type that only its caller knows.
using CodecFunction = void (*)();

struct CodecFunctions
{
    CodecFunction loadBuffer = nullptr;  ///< "_fltLoadBuffer%s@36"
    CodecFunction saveBuffer = nullptr;  ///< "_fltSaveBuffer%s@36"
};

/// Looks both functions of a format up in the main module of the host process and takes one use of them;
/// every success is undone by one UnbindCodec. kRasterOk, kRasterNoCmpCodec or kRasterNoFaxCodec when one of
/// them is missing, kRasterInvalid for another format. May be called from any thread.
int32_t BindCodec(BoundCodec format);
/// Gives one use back; the last one forgets the functions. Without a use nothing happens.
void UnbindCodec(BoundCodec format);
/// Replaces the look-up of exported functions by name, for tests and for hosts that bring their codecs along
/// in another way; null restores it. Functions that are bound stay.
void SetCodecLookUp(void* (*lookUp)(const char* decoratedName));
/// The functions bound now; null pointers without a use.
CodecFunctions GetBoundCodec(BoundCodec format);
}  // namespace talv

#pragma once

namespace talv {
/// Remembers the handle of the module that this code lives in; called once, at process attach.
void RememberModule(void* moduleHandle);

/// Looks a function up by its exported name in the remembered module. Names are given in their decorated
/// Windows form
/// ("_fltLoadBufferCMP@36"); other systems look for the plain name. Null when there is no such export.
void* FindModuleSymbol(const char* decoratedName);

/// The same look-up in the main module of the host process.
void* FindHostSymbol(const char* decoratedName);
}  // namespace talv

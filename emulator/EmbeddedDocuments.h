#pragma once

namespace VarnelBase::Emulation {

/// emulator/openapi.json: paths, parameters, documents and errors.
extern const char* const OpenApiDocument;

/// emulator/examples.json: what the emulator starts with unless it gets a seed.
extern const char* const ExampleSeed;

/// emulator/page/: the page for browsers.
extern const char* const PageDocument;
extern const char* const PageStyle;
extern const char* const PageScript;

} // namespace VarnelBase::Emulation

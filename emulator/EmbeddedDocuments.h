#pragma once

namespace VarnelBase::Emulation {

/// emulator/openapi.json: paths, parameters, documents and errors.
extern const char OpenApiDocument[];

/// emulator/examples.json: what the emulator starts with unless it gets a seed.
extern const char ExampleSeed[];

/// emulator/page/: the page for browsers.
extern const char PageDocument[];
extern const char PageStyle[];
extern const char PageScript[];

} // namespace VarnelBase::Emulation

#pragma once

namespace ondrel {

// Makes every class of the engine (processors, the stream, the writer, the
// file generator, automation, waveforms, labels) and of the platform layer
// findable by name. Call once at process start, before any stream
// description, archive or stored workflow is read; safe to call again.
void registerEngineClasses();

} // namespace ondrel

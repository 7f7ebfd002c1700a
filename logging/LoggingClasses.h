#pragma once

namespace ondrel {

// Makes the log's classes findable by name.
// Calls registerCoreClasses() first. Call at process start; safe to call again.
void registerLoggingClasses();

} // namespace ondrel

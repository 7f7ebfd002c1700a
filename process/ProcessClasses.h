#pragma once

namespace ondrel {

// Makes the process model's classes (instruction records, Action, the
// workflow controller, the application delegate) findable by name.
// Calls registerLoggingClasses() and registerEngineClasses() first. Call at
// process start; safe to call again.
void registerProcessClasses();

} // namespace ondrel

#pragma once

namespace ondrel {

// Makes the file process framework's classes (commands, processes, the
// controller) findable by name, so that a command finds its process class.
// Calls registerProcessClasses() first. Call at process start; safe to call
// again.
void registerFileProcessClasses();

} // namespace ondrel

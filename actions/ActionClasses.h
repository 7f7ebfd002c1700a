#pragma once

namespace ondrel {

// Makes every action class findable by name, so that a stored workflow
// or library entry finds its class. Must run before the current workflow is
// first read.
// Calls registerProcessClasses() and registerCatalogClasses() first. Call at process start; safe to call again.
void registerActionClasses();

} // namespace ondrel

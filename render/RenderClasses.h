#pragma once

namespace ondrel {

// Makes every class of the render library (and of the libraries below it)
// findable by name. Call once at start.
void registerRenderClasses();

} // namespace ondrel

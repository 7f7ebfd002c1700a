#pragma once

namespace ondrel {

// Makes every class of the catalog (and of the libraries below it) findable
// by name. Call once at start, before anything stored is read.
void registerCatalogClasses();

} // namespace ondrel


namespace ondrel {

#pragma once

// Makes every class of the platform layer findable by name (class information
// is otherwise registered at a class's first use, and static initialisers of
// a static library are dropped by the linker). Each library has one such
// function that also calls those of the libraries below it; the program and
// every test suite call the top one of what they link at start. Safe to call
// often; the unarchiver calls this one before reading.
void registerCoreClasses();

} // namespace ondrel

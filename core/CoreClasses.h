#pragma once

// Makes the archivable classes of the platform layer findable by name (class
// information is otherwise registered at a class's first use). Safe to call
// often; the unarchiver calls it before reading.
void registerCoreClasses();

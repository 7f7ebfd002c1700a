#pragma once

#include <memory>

namespace ondrel {

class FileEntity;

// A catalog file entity of a silent-ish mono file `seconds` long (at 1 kHz, so
// whole milliseconds are exact), made in a folder that lasts for the suite.
// Not added to any group; a catalog need not be open.
std::shared_ptr<FileEntity> testFileEntity(double seconds);

} // namespace ondrel

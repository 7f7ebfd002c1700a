#pragma once

#include "core/text/VMKError.h"

namespace ondrel {

// Errors of reading script text. Codes: 1 the text doesn't parse (the reason
// names the line and column), 2 a command's arguments don't make its record
// (the underlying error says which).
ONDREL_ERROR_SUBCLASS(ScriptError)

} // namespace ondrel

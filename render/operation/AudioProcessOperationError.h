#pragma once

#include "core/text/VMKError.h"

namespace ondrel {

ONDREL_ERROR_SUBCLASS(AudioProcessOperationError)

} // namespace ondrel

#pragma once

#include "core/text/VMKError.h"

namespace ondrel {

ONDREL_ERROR_SUBCLASS(EntityError)

} // namespace ondrel

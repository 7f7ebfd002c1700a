#pragma once

#include "core/VMKError.h"

ONDREL_ERROR_SUBCLASS(EntityError)

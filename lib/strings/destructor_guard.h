#pragma once

// Public, because the lock guards are templates; library sources may keep naming it by this path.
#include "orlo/strings/destructor_guard.h"

#include "Builder.h"

#ifdef VX_CONTROL
const auto condition = is_equal(&Adapter::Location, "a");
#else
const auto condition = is_equal(&Adapter::HealthReasons, "a");
#endif

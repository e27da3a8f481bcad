#include "Builder.h"

#ifdef VX_CONTROL
const auto condition = is_equal(&Plugin::ID, 1);
#else
const auto condition = is_equal(&NoRecord::ID, 1);
#endif

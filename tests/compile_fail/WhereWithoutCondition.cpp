#include "Builder.h"

#ifdef VX_CONTROL
const auto condition = where(is_equal(&PD::ID, 1));
#else
const auto condition = where(true);
#endif

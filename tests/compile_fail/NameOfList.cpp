#include "Builder.h"

#ifdef VX_CONTROL
auto Name(storage_t& s) {
  return s.stringFromExpression(&Adapter::Name);
}
#else
auto Name(storage_t& s) {
  return s.stringFromExpression(&Adapter::HealthReasons);
}
#endif

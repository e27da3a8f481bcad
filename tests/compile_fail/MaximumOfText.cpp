#include "Builder.h"

#ifdef VX_CONTROL
auto Maximum(storage_t& s) {
  return s.max(&Adapter::ObjectID);
}
#else
auto Maximum(storage_t& s) {
  return s.max(&Adapter::Host);
}
#endif

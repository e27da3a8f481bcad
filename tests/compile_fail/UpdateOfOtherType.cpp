#include "Builder.h"

#ifdef VX_CONTROL
void Update(storage_t& s) {
  s.update(Plugin());
}
#else
void Update(storage_t& s) {
  s.update(NoRecord());
}
#endif

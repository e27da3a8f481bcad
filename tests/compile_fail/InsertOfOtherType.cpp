#include "Builder.h"

#ifdef VX_CONTROL
void Insert(storage_t& s) {
  s.insert(PD());
}
#else
void Insert(storage_t& s) {
  s.insert(NoRecord());
}
#endif

#pragma once

namespace vxtest {

// For tests of permissions, which do not bind root: runs the present GoogleTest test once more as a
// user without privileges (through setpriv, on a copy of the program where that user can read it)
// and takes over its result. Returns true when that was done, so that the caller is finished; false
// when there are no privileges to drop: then the caller is that test.
bool IsDoneByUnprivilegedChild();

}  // namespace vxtest

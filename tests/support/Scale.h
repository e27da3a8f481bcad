#pragma once

namespace vxtest {

// How often a test that needs numbers (kills, random changes, soaks) repeats itself: small in the
// usual run, whole when the environment variable VX_TEST_WHOLE is set to 1, as "scripts/test --all"
// does.
int Count(int small, int whole);

}  // namespace vxtest

#pragma once

// Everything in the platform libraries is hidden unless it is marked with this.
#define VX_EXPORT __attribute__((visibility("default")))

// For what stands in an exported class but is the library's own business.
#define VX_HIDDEN __attribute__((visibility("hidden")))

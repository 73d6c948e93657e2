#pragma once

/// The target in plain C++, compiled without any CPU extension. Included before a table.
///
/// The library distrusts what g++ before 12.3 makes of this target; the build switches the vectoriser off for these
/// files, which is what went wrong there, and the tests compare every kernel with the vector targets.
#define HWY_BROKEN_EMU128 0
#define HWY_COMPILE_ONLY_EMU128

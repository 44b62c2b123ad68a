// For a PC that has no board: the ways without the library.
#include "tests/hosts/ways.h"

namespace ways {

bool start_library() { return false; }

}  // namespace ways

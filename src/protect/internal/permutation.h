// The keyed byte permutation behind scramble and unscramble, for the rooms
// that must know whether it ran: the void members cannot say that its array
// could not be allocated.
#pragma once

#include <cstdint>

namespace sb_internal {

// Undoes scramble on the n bytes at p; false, bytes untouched, when the
// permutation array cannot be allocated. Fewer than 2 bytes: nothing to do.
bool unscrambleBytes(char* p, uint32_t n, bool secure);

}  // namespace sb_internal

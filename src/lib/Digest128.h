// Digest128: the library's 16-byte message digest, MD5 as RFC 1321 defines
// it. Used where a fixed, well-known digest keys a transform (the content
// permutation of scramble), never for security.
#pragma once

class Digest128 {
 public:
  static constexpr unsigned kSize = 16;
  // Writes the 16-byte digest of the n bytes at data to out. data may be
  // null when n is 0.
  static void compute(const unsigned char* data, unsigned n, unsigned char* out);
};

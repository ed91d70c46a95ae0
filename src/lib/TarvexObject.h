// The root of the library's heap objects: what pointer arrays own and what
// the common deletion routine destroys.
#pragma once

class TarvexObject {
 public:
  TarvexObject() = default;
  TarvexObject(const TarvexObject&) = default;
  TarvexObject& operator=(const TarvexObject&) = default;
  virtual ~TarvexObject() = default;

  // Bytes this object holds on the heap beyond its own size.
  virtual unsigned int heapUsage() { return 0; }

  // The library's object-deletion routine: destroys and frees an object made
  // with plain new. Null is fine.
  static void deleteObject(TarvexObject* obj) noexcept { delete obj; }
};

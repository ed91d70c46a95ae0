// Common base of the library's memory-accounted objects. Its marker lets a
// receiver reject a reference that does not point at a live object.
#pragma once

#include <cstdint>

#include "lib/TarvexObject.h"

class ObjectBase : public TarvexObject {
 public:
  static constexpr uint32_t kObjectMarker = 0x62CB09E3;

  ObjectBase() = default;
  // A copy is a new object: it gets its own marker, whatever the source holds.
  ObjectBase(const ObjectBase&) : TarvexObject() {}
  ObjectBase& operator=(const ObjectBase&) { return *this; }
  ~ObjectBase() override { m_objectMarker = 0; }

  unsigned int heapUsage() override { return 0; }

  bool hasObjectMarker() const { return m_objectMarker == kObjectMarker; }

 protected:
  uint32_t m_objectMarker = kObjectMarker;
};

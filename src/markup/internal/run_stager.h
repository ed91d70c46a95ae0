// Staging of escaper and decoder output in a small local area that is handed
// on whenever it holds FlushAt bytes or more: plain runs fill it up to
// FlushAt exactly, an escape's few bytes may carry it past (up to Capacity).
// The hand-overs are the same as staging the output one unit at a time would
// give, but whole chunks of a long plain run go out without the copy.
#pragma once

#include <cstring>

namespace markup_stage {

template <unsigned int FlushAt, unsigned int Capacity, typename Sink>
class RunStager {
 public:
  // sink(const unsigned char* p, unsigned int n) hands n bytes on; false on failure.
  explicit RunStager(Sink sink) : m_sink(sink) {}
  RunStager(const RunStager&) = delete;
  RunStager& operator=(const RunStager&) = delete;

  // False once a hand-over failed; nothing is handed on after that, so the
  // output never has a hole in the middle.
  bool ok() const { return m_ok; }

  void putRun(const unsigned char* p, unsigned int n) {
    while (n != 0) {
      if (m_used == 0 && n >= FlushAt) {
        hand(p, FlushAt);
        p += FlushAt;
        n -= FlushAt;
        continue;
      }
      const unsigned int take = n < FlushAt - m_used ? n : FlushAt - m_used;
      std::memcpy(m_area + m_used, p, take);
      m_used += take;
      p += take;
      n -= take;
      if (m_used >= FlushAt) flush();
    }
  }

  // One unit of output (an entity, a decoded character): at most
  // Capacity - FlushAt + 1 bytes.
  void putUnit(const void* p, unsigned int n) {
    std::memcpy(m_area + m_used, p, n);
    m_used += n;
    if (m_used >= FlushAt) flush();
  }

  // Hands on what is left; true when every hand-over succeeded.
  bool finish() {
    if (m_used != 0) flush();
    return m_ok;
  }

  // Zeroes the area, for output that must not outlive the call.
  void wipe() {
    volatile unsigned char* area = m_area;
    for (unsigned int i = 0; i < Capacity; ++i) area[i] = 0;
  }

 private:
  void hand(const unsigned char* p, unsigned int n) {
    if (m_ok) m_ok = m_sink(p, n);
  }
  void flush() {
    hand(m_area, m_used);
    m_used = 0;
  }

  Sink m_sink;
  unsigned char m_area[Capacity];
  unsigned int m_used = 0;
  bool m_ok = true;
};

}  // namespace markup_stage

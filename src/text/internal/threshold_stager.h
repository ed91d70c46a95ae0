// A staging area that is handed on once it holds Threshold bytes or more:
// the template expander and the line-ending converter put literal runs and
// short generated pieces (a pair of bytes at a time) into it, so the result
// grows once per chunk instead of once per piece.
#pragma once

#include <cstring>

template <unsigned int Size, unsigned int Threshold, typename Sink>
class ThresholdStager {
  // A pair put while the area is one short of the threshold still fits.
  static_assert(Threshold + 1 <= Size, "a two-byte put must always fit");

 public:
  // sink(const char* p, unsigned int n) appends n bytes; its result is
  // passed back by flush() and collected by ok().
  explicit ThresholdStager(Sink sink) : m_sink(sink) {}
  ThresholdStager(const ThresholdStager&) = delete;
  ThresholdStager& operator=(const ThresholdStager&) = delete;

  // Stages a run of n bytes. The sink sees exactly the chunks that putting
  // the bytes one at a time would give it; whole chunks in the middle of a
  // long run go to the sink straight from p, without a copy.
  void putRun(const char* p, unsigned int n) {
    while (n != 0) {
      if (m_used == 0 && n >= Threshold) {
        hand(p, Threshold);
        p += Threshold;
        n -= Threshold;
        continue;
      }
      const unsigned int room = Threshold - m_used;
      const unsigned int take = n < room ? n : room;
      std::memcpy(m_area + m_used, p, take);
      m_used += take;
      p += take;
      n -= take;
      if (m_used >= Threshold) flush();
    }
  }

  void put(char a) {
    m_area[m_used++] = a;
    if (m_used >= Threshold) flush();
  }

  // Two bytes staged together: the area may then hold Threshold + 1.
  void put2(char a, char b) {
    m_area[m_used++] = a;
    m_area[m_used++] = b;
    if (m_used >= Threshold) flush();
  }

  // Hands on whatever is staged.
  void flush() {
    if (m_used != 0) hand(m_area, m_used);
    m_used = 0;
  }

  // False once any hand-over has failed.
  bool ok() const { return m_ok; }

  // Zeroes the area, for callers whose bytes must not outlive them.
  void wipe() {
    volatile char* area = m_area;
    for (unsigned int i = 0; i < Size; ++i) area[i] = 0;
  }

 private:
  void hand(const char* p, unsigned int n) {
    if (!m_sink(p, n)) m_ok = false;
  }

  Sink m_sink;
  char m_area[Size];
  unsigned int m_used = 0;
  bool m_ok = true;
};

// Making the elements of a split or tokenize: each piece is a new buffer from
// the factory, filled 255 bytes at a time from a local staging area (so a
// long piece grows once per chunk, not once per byte), optionally shrunk,
// and handed to the list, which owns it from then on.
#pragma once

#include "core/StringBuffer.h"
#include "core/internal/chunk_stager.h"
#include "lib/ExtPtrArray.h"

class PieceGatherer {
 public:
  static constexpr unsigned int kGatherSize = 255;

  // shrink: give back surplus storage before handing a piece over.
  // secure: our choice is that pieces cut from a secure buffer are secure
  // too, so their growth and release wipe the copied bytes.
  PieceGatherer(ExtPtrArray& list, bool shrink, bool secure)
      : m_list(list), m_shrink(shrink), m_secure(secure), m_stager(Sink{this}) {}
  ~PieceGatherer() {
    StringBuffer::deleteSb(m_piece);
    if (m_secure) m_stager.wipe();
  }
  PieceGatherer(const PieceGatherer&) = delete;
  PieceGatherer& operator=(const PieceGatherer&) = delete;

  // Starts a new, empty piece; false when no buffer can be made.
  bool begin() {
    StringBuffer::deleteSb(m_piece);
    m_piece = StringBuffer::createNewSB();
    m_any = false;
    if (m_piece != nullptr) m_piece->setSecureBuf(m_secure);
    return m_piece != nullptr;
  }

  // Gathers n bytes into the current piece.
  void add(const char* p, unsigned int n) {
    if (n != 0) m_any = true;
    m_stager.putRun(reinterpret_cast<const unsigned char*>(p), n);
  }

  // The whole piece is the n bytes at p: they go straight from the source
  // into the piece in the same 255-byte slices the staging area would hand
  // on, so the piece grows exactly as it would, and each byte is copied once.
  void addWhole(const char* p, unsigned int n) {
    if (n != 0) m_any = true;
    if (!m_stager.finish()) m_failed = true;
    for (; n != 0 && !m_failed;) {
      const unsigned int slice = n < kGatherSize ? n : kGatherSize;
      if (!m_piece->appendN(p, slice)) m_failed = true;
      p += slice;
      n -= slice;
    }
  }

  // Appends n bytes to the piece in one go, past the staging area.
  void addDirect(const char* p, unsigned int n) {
    if (n != 0) m_any = true;
    if (!m_stager.finish() || !m_piece->appendN(p, n)) m_failed = true;
  }

  // Nothing has been added to the current piece.
  bool empty() const { return !m_any; }

  // Hands the piece to the list. False when a byte could not be added or the
  // list could not take it; the piece is not handed over in part.
  bool finish() {
    const bool filled = m_stager.finish() && !m_failed;
    StringBuffer* piece = m_piece;
    m_piece = nullptr;
    if (!filled) {
      StringBuffer::deleteSb(piece);
      return false;
    }
    if (m_shrink) piece->minimizeMemoryUsage();
    return m_list.appendPtr(piece);
  }

 private:
  struct Sink {
    PieceGatherer* self;
    bool operator()(const unsigned char* p, unsigned int n) const {
      return self->m_piece->appendN(reinterpret_cast<const char*>(p), n);
    }
  };

  ExtPtrArray& m_list;
  bool m_shrink;
  bool m_secure;
  bool m_any = false;
  bool m_failed = false;
  StringBuffer* m_piece = nullptr;
  ChunkStager<kGatherSize, Sink> m_stager;
};

// Psdk: the few platform facts the library asks for, in the numbering the
// rest of the library speaks (Windows code-page numbers, millisecond ticks).
#pragma once

#include <cstdint>

class Psdk {
 public:
  // The code page that "ANSI" text means: 1252 (Windows Latin-1) unless the
  // application chose another with setAnsiCodePage.
  static int getAnsiCodePage();
  // The code page that "OEM" text means: 437 (OEM United States) unless the
  // application chose another with setOemCodePage.
  static int getOemCodePage();
  // Meant to be called once at start-up, before text is converted; a value of
  // 0 or less restores the default. Safe to call from any thread.
  static void setAnsiCodePage(int codePage);
  static void setOemCodePage(int codePage);

  // Milliseconds of a monotonic clock, truncated to 32 bits.
  static uint32_t getTickCount();
};

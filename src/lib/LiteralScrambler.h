// The literal substitution: how the library keeps literals (log texts,
// keywords, header names) scrambled in the binary and restores them at the
// moment of use. Every transform here is its own inverse, so the same call
// scrambles and restores.
#pragma once

// One byte's substitute: a-z, A-Z and 0-9 are mirrored within their range
// (a<->z, A<->Z, 0<->9), '*'<->'<', ','<->' ', '.'<->'/'; every other byte
// stays.
unsigned char litSubstitute(unsigned char c);

// Substitutes each of the n bytes in place (zero bytes included).
void litSubstituteBytes(char* p, unsigned int n);

// The full literal scramble of n bytes: substitution, then the bytes of
// each pair swapped (0 with 1, 2 with 3, ...); an odd last byte stays.
void litScramBytes(char* p, unsigned int n);

// litScramBytes over a zero-terminated text; null or "" is left alone.
void litScramInPlace(char* s);

/// \file
/// Text primitives: conversion between 8-bit text and wide text, length and
/// case-insensitive comparison.
///
/// The 8-bit side of every conversion is UTF-8 as this library writes and reads
/// it: one to three bytes per 16-bit unit when encoding; when decoding, forms of
/// up to six bytes whose continuation bytes are not checked, and "?" for a lead
/// byte with too few bytes behind it. Decoding never fails. Surrogates are plain
/// units. Every operation except the two stream insertions measures its text up
/// to the first null element, also inside a string or wstring.
///
/// Comparison folds only A-Z onto a-z, whatever C locale the program has set.
///
/// Thread safety: all functions are free of shared mutable state.
#ifndef LUMBREL_TEXT_H
#define LUMBREL_TEXT_H

#include <ostream>
#include <string>

#include "lumbrel/Export.h"

namespace Lumbrel {

/// 8-bit text.
using string = std::string;
/// Wide text: one UTF-16 code unit per element, no surrogate handling.
using wstring = std::basic_string<unsigned short>;

/// A copy of the bytes; a null pointer gives empty text.
LUMBREL_API string make_string(const char* text);
/// Decodes nothing: copies the units, then encodes them; null gives empty text.
LUMBREL_API string make_string(const unsigned short* text);
/// Encodes the units in front of the first null unit.
LUMBREL_API string make_string(const wstring& text);

/// A copy of the units; a null pointer gives empty text.
LUMBREL_API wstring make_wstring(const unsigned short* text);
/// Decodes the bytes; a null pointer gives empty text.
LUMBREL_API wstring make_wstring(const char* text);
/// Decodes the bytes in front of the first null byte.
LUMBREL_API wstring make_wstring(const string& text);

/// Elements in front of the first null element; a null pointer gives 0.
///@{
LUMBREL_API unsigned long length(const char* text);
LUMBREL_API unsigned long length(const unsigned short* text);
LUMBREL_API unsigned long length(const string& text);
LUMBREL_API unsigned long length(const wstring& text);
///@}

/// Case-insensitive order: negative, 0 or positive; only the sign counts.
/// Pointers must not be null.
///@{
LUMBREL_API long compare(const char* a, const char* b);
LUMBREL_API long compare(const string& a, const string& b);
LUMBREL_API long compare(const unsigned short* a, const unsigned short* b);
LUMBREL_API long compare(const wstring& a, const wstring& b);
///@}

/// Writes every element, nulls included, one formatted character at a time, so
/// a field width pads the first element only.
LUMBREL_API std::basic_ostream<char>& operator<<(std::basic_ostream<char>& out,
                                                 const string& text);
/// Writes the low 8 bits of every unit, one byte per unit; it does not encode.
LUMBREL_API std::basic_ostream<char>& operator<<(std::basic_ostream<char>& out,
                                                 const wstring& text);

}  // namespace Lumbrel

#endif  // LUMBREL_TEXT_H

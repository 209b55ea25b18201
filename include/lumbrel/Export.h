/// \file
/// Symbol visibility for the lumbrelcommon shared library.
///
/// The library is built with hidden visibility; LUMBREL_API marks the classes
/// and free functions that form its public interface.
///
/// \def LUMBREL_API
/// Marks a class or free function as part of the exported interface.
#ifndef LUMBREL_EXPORT_H
#define LUMBREL_EXPORT_H

#if defined(_WIN32)
#  if defined(LUMBREL_BUILDING)
#    define LUMBREL_API __declspec(dllexport)
#  else
#    define LUMBREL_API __declspec(dllimport)
#  endif
#else
#  define LUMBREL_API __attribute__((visibility("default")))
#endif

#endif  // LUMBREL_EXPORT_H

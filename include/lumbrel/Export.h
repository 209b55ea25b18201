/// \file
/// Symbol visibility for the lumbrelcommon shared library, and the few other
/// things the public headers must ask of the compiler and the platform. This
/// is the one public header that tests either; the others use its macros.
///
/// The library is built with hidden visibility.
///
/// \def LUMBREL_API
/// Marks a class or free function as part of the exported interface:
/// exported from the DLL when it is built, imported from it by its users on
/// Windows, and a plain declaration for code that links the library's objects
/// statically (LUMBREL_STATIC).
///
/// \def LUMBREL_EXPORTED
/// Exports a symbol from whichever shared library defines it, such as a
/// module that DynamicLibrary loads.
#ifndef LUMBREL_EXPORT_H
#define LUMBREL_EXPORT_H

#if defined(_WIN32)
#  define LUMBREL_EXPORTED __declspec(dllexport)
#  if defined(LUMBREL_BUILDING)
#    define LUMBREL_API __declspec(dllexport)
#  elif defined(LUMBREL_STATIC)
#    define LUMBREL_API
#  else
#    define LUMBREL_API __declspec(dllimport)
#  endif
#else
#  define LUMBREL_EXPORTED __attribute__((visibility("default")))
#  define LUMBREL_API LUMBREL_EXPORTED
#endif

/// \def LUMBREL_PLATFORM_HAS_GUID
/// 1 where the platform declares the structure _GUID itself (<guiddef.h>), 0
/// where the library declares it.
#if defined(_WIN32)
#  define LUMBREL_PLATFORM_HAS_GUID 1
#else
#  define LUMBREL_PLATFORM_HAS_GUID 0
#endif

/// \def LUMBREL_HIDING_BEGIN
/// Opens a stretch of declarations of which one hides a virtual function of a
/// base class on purpose, so that users who build with -Woverloaded-virtual
/// get no warning from the library's headers. g++ reports the hiding at the
/// hidden function, clang at the one that hides, so both places are bracketed.
///
/// \def LUMBREL_HIDING_END
/// Closes what LUMBREL_HIDING_BEGIN opened.
#if defined(__GNUC__) || defined(__clang__)
#  define LUMBREL_HIDING_BEGIN \
    _Pragma("GCC diagnostic push") _Pragma("GCC diagnostic ignored \"-Woverloaded-virtual\"")
#  define LUMBREL_HIDING_END _Pragma("GCC diagnostic pop")
#else
#  define LUMBREL_HIDING_BEGIN
#  define LUMBREL_HIDING_END
#endif

#endif  // LUMBREL_EXPORT_H

/* Support services: diagnostic log, application path, FourCC text, UTF conversion. */
#ifndef QUEVARRA_QV_SUPPORT_H
#define QUEVARRA_QV_SUPPORT_H

#include <quevarra/qv_export.h>

#include <stdint.h>
#include <wchar.h>

typedef unsigned char UTF8;
typedef uint16_t UTF16;
typedef uint32_t UTF32;

enum ConversionFlags { strictConversion = 0, lenientConversion };

enum ConversionResult {
    conversionOK = 0, /* conversion successful */
    sourceExhausted,  /* partial character in source, but hit end */
    targetExhausted,  /* insufficient room in target for conversion */
    sourceIllegal     /* source sequence is illegal/malformed */
};

/* Loads Log.dylib from the application path once per process; null when absent. */
QV_API void* dyLogInit();
/* Address of a symbol of the logging library, or null (with a complaint on stdout). */
QV_API void* LogGetAddress(const char* name);
/* Forwards one message to the logging library's Log entry; 0 when there is none.
 * While a host callback is set (QVSetLogCallback) the message goes to it
 * instead, and the result is 1 (0 for a null message, which is not passed on). */
QV_API int Log(const wchar_t* message);
/* Formats a wide message ("%ls" wide text, "%s" UTF-8 text) and forwards it
 * like Log. An empty result is not delivered. */
QV_API void LogEx(const wchar_t* format, ...);

/* UTF-8 application path: the bundle's Contents/MacOS directory, without a
 * final slash. Never writes more than `capacity` bytes including the NUL. */
QV_API void GetAppPathA(char* dest, int capacity);
/* The same as wide text; returns dest. */
QV_API wchar_t* GetAppPath(wchar_t* dest, int capacity);

/* Four-character text of a code, lowest byte first; dest needs room for 5. */
QV_API wchar_t* FourCC2StrW(wchar_t* dest, unsigned long code);

QV_API ConversionResult ConvertUTF16toUTF8(const UTF16* sourceStart, const UTF16* sourceEnd,
                                           UTF8* targetStart, UTF8* targetEnd,
                                           ConversionFlags flags);
QV_API ConversionResult ConvertUTF32toUTF8(const UTF32* sourceStart, const UTF32* sourceEnd,
                                           UTF8* targetStart, UTF8* targetEnd,
                                           ConversionFlags flags);
QV_API ConversionResult ConvertUTF8toUTF32(const UTF8* sourceStart, const UTF8* sourceEnd,
                                           UTF32* targetStart, UTF32* targetEnd,
                                           ConversionFlags flags);
QV_API ConversionResult ConvertUTF8toUTF16(const UTF8* sourceStart, const UTF8* sourceEnd,
                                           UTF16* targetStart, UTF16* targetEnd,
                                           ConversionFlags flags);

/* length -1 converts strlen(source) + 1 bytes, the terminator included. */
QV_API ConversionResult UTF8toW(const char* source, int length, wchar_t* dest, int capacity,
                                bool strict);
/* length -1 converts wcslen(source) + 1 characters, the terminator included. */
QV_API ConversionResult WtoUTF8(const wchar_t* source, int length, char* dest, int capacity,
                                bool strict);

#endif /* QUEVARRA_QV_SUPPORT_H */

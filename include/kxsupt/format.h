/*
 * Formatted output: the library's own bounded printf engine.
 *
 * SMsnprintf and SMvsnprintf write into a caller buffer of `size` bytes,
 * terminating NUL included, and return the number of bytes stored (never
 * more than size - 1; 0 for a size of 0 or 1). Output that does not fit is
 * dropped silently: the length a larger buffer would have needed is not
 * reported. A null destination stores nothing and returns the same count.
 * A non-null destination always receives the NUL, even for size 0, so never
 * pass size 0 with a buffer that has no room. Nothing is allocated for the
 * caller and no status is returned; all formatting in the process is
 * serialised by one lock.
 *
 * Conversions: c d i o u x X p s e E f g G n, plus D O U (as ld lo lu) and
 * S (a UCS-2 string printed as UTF-8). Flags "# - + space 0", width and
 * precision (also as *), length modifiers h (16 bits; hh is the same), l and
 * ll (both a long), L (accepted; the value is still read as a double). %n
 * stores into an int (a short with h) the count of every byte produced,
 * including bytes that did not fit. Differences from C:
 *  - any other conversion character prints itself ("%q" gives "q");
 *  - e, E, g and G drop trailing zeros unless "#" is given ("%e" of 1.0
 *    gives "1e+00");
 *  - f prints its point and zeros for every non-zero precision; with
 *    precision 0 a value that rounds to 0 prints "0." and zero prints "0";
 *  - g switches to exponent form only when the exponent is above the
 *    precision ("%g" of 1e6 gives "1000000");
 *  - infinities and NaNs print "Inf" ("-Inf" below 0); -0.0 prints as 0;
 *  - "0" pads strings and characters too; "%#.0o" of 0 prints nothing;
 *    a null pointer prints "0x0";
 *  - flags, width, precision and modifiers come in any order; a later width
 *    replaces an earlier one, and a "0" after a width digit is a width digit,
 *    not zero padding ("%5h0d" of 42 gives "42", "%5h7d" gives "     42").
 */
#ifndef KXSUPT_FORMAT_H
#define KXSUPT_FORMAT_H

#include <stdarg.h>

#include "kxsupt/base.h"

KXSUPT_BEGIN_DECLS

/* Format into pDest (size bytes with the NUL); returns the bytes stored. */
KXSUPT_API int32_t SMsnprintf(char *pDest, uint32_t size, const char *pFormat, ...)
    KXSUPT_PRINTF(3, 4);
/* As SMsnprintf, with an argument list the caller has started. */
KXSUPT_API int32_t SMvsnprintf(char *pDest, uint32_t size, const char *pFormat, va_list args)
    KXSUPT_PRINTF(3, 0);

KXSUPT_END_DECLS

#endif /* KXSUPT_FORMAT_H */

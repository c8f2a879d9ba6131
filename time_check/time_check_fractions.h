// How functions that calculate with fractions are built.
#ifndef TIME_CHECK_TIME_CHECK_FRACTIONS_H
#define TIME_CHECK_TIME_CHECK_FRACTIONS_H

// Goes before such a function: in MIPS16e code fractions came out as 0 where the kernel stands in for the unit that the
// processor lacks (decision 0167).
#ifdef __mips16
#define WITH_FRACTIONS [[gnu::nomips16]]
#else
#define WITH_FRACTIONS
#endif

#endif

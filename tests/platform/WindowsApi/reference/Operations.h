#pragma once

#include <stdio.h>

#if defined(__cplusplus)
extern "C" {
#endif

/// Calls Windows' functions and writes what they answer, one line for each group of calls. With inDraw shapes are
/// pictures, else sums.
void PrintOperations(FILE* inOut, int inDraw);

#if defined(__cplusplus)
}
#endif

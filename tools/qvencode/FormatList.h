// The --list table: published file formats and their encoders.
#ifndef QVENCODE_FORMATLIST_H
#define QVENCODE_FORMATLIST_H

#include <cstdio>

namespace qvenc {

// Prints the table; returns the number of file formats listed.
int PrintFormatList(FILE* out);

}  // namespace qvenc

#endif

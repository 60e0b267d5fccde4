/* Opening a file by its UTF-8 path: the one platform call of the parameter text files. */
#pragma once

#include <cstdio>

/* Opens the file at the UTF-8 path with an fopen mode ("rb", "wb"). Returns null when it cannot be
 * opened, and for a folder (which some systems let fopen open for reading). */
FILE* file_open_utf8(const char* path, const char* mode);

/* Opening parameter text files by their UTF-8 paths: the platform calls of the text files. */
#pragma once

#include <cstdio>

/* Opens the file at the UTF-8 path for reading ("rb"). Only a regular file is opened: a folder, a
 * device such as /dev/zero or a named pipe gives null (without waiting for a writer). */
FILE* file_open_read_utf8(const char* path);

/* A file being saved in place of another: the text goes to a new file beside the target, which
 * takes the target's name only once every byte of it is written, so a failed save never leaves a
 * cut file where the old one was. */
struct FileReplace {
    FILE* f = nullptr; /* write the text here */
    char temp_path[4200] = {};
    char target[4096] = {};
};

/* Starts a save to the UTF-8 path. False (nothing created) when the target is not a regular file
 * name that can be written (a folder, a missing folder, no room for the name). */
bool file_replace_begin(const char* path, FileReplace* r);

/* Flushes the new file to the disk and puts it in place of the target. False when any of it
 * failed; then the target is as it was and the new file is gone. Closes r->f either way. */
bool file_replace_commit(FileReplace* r, bool written);

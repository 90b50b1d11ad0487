// How the floors read: one open, one read, one close.
#pragma once

/// The file's text up to 64 KiB, or an empty one; valid until the next call. The
/// kernel gives each of the files that are read by this whole in one read.
const char* read_file(const char* path);

/// `leaf` of a process, likewise.
const char* read_process_file(int pid, const char* leaf);

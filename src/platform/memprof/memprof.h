// Memory profile of this process.
#pragma once

#include <string>

/// Notes the allocator's figures now, as the baseline that later profiles are
/// compared with.
void mp_enable();

/// A readable text: what the C library's allocator holds, and the resident,
/// peak and swapped memory of the process (/proc/self/status). Allocated with
/// malloc and owned by the caller; null when there is no memory for it.
char* mp_output();

/// The "Vm..." lines of a status file that the profile quotes, each as
/// "name value unit" and separated by ", ". Empty when there are none.
std::string parse_memory_lines(const std::string& status);

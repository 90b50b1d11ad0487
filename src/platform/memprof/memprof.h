// Memory profile of this process.
#pragma once

/// Notes the allocator's figures now, as the baseline that later profiles are
/// compared with.
void mp_enable();

/// A readable text: what the C library's allocator holds, and the resident,
/// peak and swapped memory of the process (/proc/self/status). Allocated with
/// malloc and owned by the caller; null when there is no memory for it.
char* mp_output();

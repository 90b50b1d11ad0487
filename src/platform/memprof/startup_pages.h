// Giving back the memory that only start-up needed.
#pragma once

#include <cstddef>

/// Unmaps the program text of the daemon and its libraries from this process;
/// the kernel maps what is used again, page by page, from its cache. Most of
/// the text that is resident after start-up belongs to constructors of
/// libraries that run once. Returns the bytes that were covered.
std::size_t release_startup_pages();

#include "platform/memprof/memprof.h"

#include "platform/file/text_file.h"
#include "procfs/pid_status.h"

#include <malloc.h>

#include <cstring>
#include <exception>
#include <sstream>

namespace {

std::size_t baseline_in_use{};

} // namespace

void mp_enable()
{
    baseline_in_use = ::mallinfo2().uordblks;
}

char* mp_output()
{
    try {
        const auto heap = ::mallinfo2();
        const auto status = platform::read_record_file("/proc/self/status");
        std::ostringstream text;
        text << "memory profile: heap in use " << heap.uordblks << " bytes ("
             << static_cast<long long>(heap.uordblks) - static_cast<long long>(baseline_in_use)
             << " since start), heap free " << heap.fordblks << " bytes, heap size " << heap.arena
             << " bytes, mapped " << heap.hblkhd << " bytes in " << heap.hblks
             << " blocks; process " << procfs::parse_memory_lines(status.value_or(""));
        return ::strdup(text.str().c_str());
    } catch (const std::exception&) {
        return nullptr;
    }
}

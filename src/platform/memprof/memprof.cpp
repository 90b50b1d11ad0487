#include "platform/memprof/memprof.h"

#include <malloc.h>

#include <cstring>
#include <exception>
#include <fstream>
#include <sstream>

namespace {

std::size_t baseline_in_use{};

} // namespace

std::string parse_memory_lines(const std::string& status)
{
    std::istringstream lines(status);
    std::string line;
    std::string found;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::string name;
        std::string value;
        std::string unit;
        if (!(words >> name >> value >> unit))
            continue;
        if (name != "VmRSS:" && name != "VmHWM:" && name != "VmSwap:")
            continue;
        name.pop_back();
        found.append(found.empty() ? "" : ", ").append(name).append(" ");
        found.append(value).append(" ").append(unit);
    }
    return found;
}

void mp_enable()
{
    baseline_in_use = ::mallinfo2().uordblks;
}

char* mp_output()
{
    try {
        const auto heap = ::mallinfo2();
        std::ostringstream status;
        status << std::ifstream("/proc/self/status").rdbuf();
        std::ostringstream text;
        text << "memory profile: heap in use " << heap.uordblks << " bytes ("
             << static_cast<long long>(heap.uordblks) - static_cast<long long>(baseline_in_use)
             << " since start), heap free " << heap.fordblks << " bytes, heap size " << heap.arena
             << " bytes, mapped " << heap.hblkhd << " bytes in " << heap.hblks
             << " blocks; process " << parse_memory_lines(status.str());
        return ::strdup(text.str().c_str());
    } catch (const std::exception&) {
        return nullptr;
    }
}

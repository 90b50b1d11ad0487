#include "common/nyx_random.h"

#include <sys/random.h>

#include <fstream>

namespace nyx {

int nyx_random()
{
    int value{};
    std::ifstream source("/dev/urandom", std::ios::binary);
    if (!source.read(reinterpret_cast<char*>(&value), sizeof value) &&
        ::getrandom(&value, sizeof value, GRND_NONBLOCK) != sizeof value)
        value = 0;
    return value;
}

} // namespace nyx

// A process with many descriptors, for what it costs to count them.
#pragma once

#include <sys/types.h>

/// Holds the process as long as it lives; throws std::runtime_error when there
/// can be none.
class DescriptorHolder {
public:
    explicit DescriptorHolder(int count);
    DescriptorHolder(const DescriptorHolder&) = delete;
    DescriptorHolder& operator=(const DescriptorHolder&) = delete;
    ~DescriptorHolder();

    pid_t pid() const { return m_pid; }

private:
    pid_t m_pid{-1};
};

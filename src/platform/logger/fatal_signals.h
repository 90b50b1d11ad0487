// What is gathered for the log is not to be lost with the process.
#pragma once

/// While one lives, a signal that ends the process by a core writes the gathered
/// records first. Then comes what was to come without: another handler, or the end.
/// For the thread whose records are gathered; one at a time.
class FatalSignals {
public:
    FatalSignals() noexcept;
    FatalSignals(const FatalSignals&) = delete;
    FatalSignals& operator=(const FatalSignals&) = delete;
    /// A handler that somebody has set since stays.
    ~FatalSignals();
};

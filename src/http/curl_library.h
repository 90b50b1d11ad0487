// libcurl's process-wide state.
#pragma once

namespace nyx {

/// Set up for as long as one of these lives; libcurl counts them.
class CurlLibrary {
public:
    CurlLibrary();
    CurlLibrary(const CurlLibrary&) = delete;
    CurlLibrary& operator=(const CurlLibrary&) = delete;
    ~CurlLibrary();

    /// Whether libcurl could be set up. It does not look whether OpenSSL, which
    /// it sets up on the way, could be.
    bool is_ready() const { return m_ready; }

private:
    bool m_ready;
};

} // namespace nyx

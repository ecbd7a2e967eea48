#pragma once

namespace quillo {

/// A share in libcurl's global state, which the first holder sets up and the last one tears down.
///
/// Whatever calls libcurl holds one for as long as it has a handle, above all threads that may outlive their starter.
/// Copies are shares of their own. Any thread.
class CurlRuntime {
public:
    CurlRuntime();
    CurlRuntime(const CurlRuntime& other);
    CurlRuntime& operator=(const CurlRuntime&) = default;
    ~CurlRuntime();

    /// Whether anyone holds a share. While a detached request does, the process must not leave through exit() or the
    /// end of main(), which would destroy the TLS library under that request, but through std::_Exit().
    static bool inUse();
};

} // namespace quillo

#pragma once

#include <curl/curl.h>

#include <chrono>

namespace quillo {

/// Performs a transfer like curl_easy_perform(), and trusts whom that trusts, but looks the certificate authority up in
/// the system's folder of them, if libcurl has one, before it reads the bundle of them all. That bundle takes 25 ms,
/// for every handle anew.
/// @param timeout for everything, from looking up the host to the last byte of the answer
CURLcode performWithQuickTrust(CURL* handle, std::chrono::milliseconds timeout);

} // namespace quillo

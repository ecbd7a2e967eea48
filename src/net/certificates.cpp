#include "net/certificates.h"

#include <string_view>

namespace quillo {

namespace {

// Only OpenSSL looks up a single authority; others read the whole folder.
bool canLookUpAuthorities(const curl_version_info_data& libcurl)
{
    return libcurl.age >= CURLVERSION_SEVENTH && libcurl.cainfo && libcurl.capath && libcurl.ssl_version
        && std::string_view(libcurl.ssl_version).substr(0, 7) == "OpenSSL";
}

} // namespace

CURLcode performWithQuickTrust(CURL* handle, std::chrono::milliseconds timeout)
{
    const auto begin = std::chrono::steady_clock::now();
    curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(timeout.count()));
    const curl_version_info_data& libcurl = *curl_version_info(CURLVERSION_NOW);
    if (!canLookUpAuthorities(libcurl))
        return curl_easy_perform(handle);
    curl_easy_setopt(handle, CURLOPT_CAINFO, nullptr);
    const CURLcode result = curl_easy_perform(handle);
    if (result != CURLE_PEER_FAILED_VERIFICATION)
        return result;
    // The bundle may have what the folder lacks. Nothing has been sent yet: the handshake failed.
    const auto left = timeout - std::chrono::ceil<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
    if (left.count() <= 0) // which libcurl takes for no limit
        return CURLE_OPERATION_TIMEDOUT;
    curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(left.count()));
    curl_easy_setopt(handle, CURLOPT_CAINFO, libcurl.cainfo);
    return curl_easy_perform(handle);
}

} // namespace quillo

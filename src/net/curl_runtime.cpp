#include "net/curl_runtime.h"

#include <curl/curl.h>

#include <mutex>

namespace quillo {

namespace {

// Held during set-up and tear-down too: neither may overlap the other, and not even inUse() may miss a tear-down.
std::mutex mutex;
constinit int holders = 0;

} // namespace

CurlRuntime::CurlRuntime()
{
    const std::lock_guard lock(mutex);
    if (holders++ == 0)
        curl_global_init(CURL_GLOBAL_ALL); // when it fails, so does every curl_easy_init()
}

CurlRuntime::CurlRuntime(const CurlRuntime& /*other*/)
    : CurlRuntime()
{
}

CurlRuntime::~CurlRuntime()
{
    const std::lock_guard lock(mutex);
    if (--holders == 0)
        curl_global_cleanup();
}

bool CurlRuntime::inUse()
{
    const std::lock_guard lock(mutex);
    return holders > 0;
}

} // namespace quillo

#pragma once

#include <curl/curl.h>

#include <memory>

namespace quillo {

/// Owners of libcurl's objects. A form belongs to its easy handle and must go first.

struct CurlDeleter {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    void operator()(curl_mime* form) const { curl_mime_free(form); }
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

using CurlHandle = std::unique_ptr<CURL, CurlDeleter>;
using CurlForm = std::unique_ptr<curl_mime, CurlDeleter>;
using CurlHeaders = std::unique_ptr<curl_slist, CurlDeleter>;

} // namespace quillo

// libcurl's functions as far as Quillo calls them, each of which passes its call on to the library of the system,
// loaded at the first call. Linked in the usual way, libcurl brings some thirty other libraries into every start and
// keeps 7 MiB resident, also for the users who recognise everything on their own machine.
//
// The functions are hidden (see CMakeLists.txt): libcurl itself and other libraries never get to see them.
#include "base/log.h"

#include <curl/curl.h>

#include <dlfcn.h>

#include <cstdarg>
#include <type_traits>

// Macros that check the types of the arguments at their callers'.
#undef curl_easy_setopt
#undef curl_easy_getinfo

namespace {

/// Null when there is none. It stays loaded: what it registers for the end of the process must find itself there.
void* library()
{
    static void* const handle = [] {
        void* const opened = dlopen("libcurl.so.4", RTLD_NOW | RTLD_LOCAL);
        if (!opened)
            quillo::logError("[Quillo] ERROR: no downloads and no cloud: %s\n", dlerror());
        return opened;
    }();
    return handle;
}

/// Null when there is no library. Any thread.
template<typename Function> Function* find(const char* name)
{
    return library() ? reinterpret_cast<Function*>(dlsym(library(), name)) : nullptr;
}

} // namespace

#define LIBCURL(name) find<decltype(name)>(#name)

// Without the library these two fail, and nothing else is ever called.

CURLcode curl_global_init(long flags)
{
    const auto real = LIBCURL(curl_global_init);
    return real ? real(flags) : CURLE_FAILED_INIT;
}

CURL* curl_easy_init()
{
    const auto real = LIBCURL(curl_easy_init);
    return real ? real() : nullptr;
}

void curl_global_cleanup()
{
    if (const auto real = LIBCURL(curl_global_cleanup))
        real();
}

// The kind of the third argument follows from the option. Functions travel like data here, and large numbers like
// others.
static_assert(std::is_same_v<curl_off_t, long>);

CURLcode curl_easy_setopt(CURL* handle, CURLoption option, ...)
{
    const auto real = LIBCURL(curl_easy_setopt);
    const bool isNumber =
        option < CURLOPTTYPE_OBJECTPOINT || (option >= CURLOPTTYPE_OFF_T && option < CURLOPTTYPE_BLOB);
    std::va_list arguments;
    va_start(arguments, option);
    CURLcode result = CURLE_OK;
    if (isNumber) // NOLINT(bugprone-branch-clone): the types differ
        result = real(handle, option, va_arg(arguments, long));
    else
        result = real(handle, option, va_arg(arguments, void*));
    va_end(arguments);
    return result;
}

CURLcode curl_easy_getinfo(CURL* handle, CURLINFO info, ...)
{
    std::va_list arguments;
    va_start(arguments, info);
    const CURLcode result = LIBCURL(curl_easy_getinfo)(handle, info, va_arg(arguments, void*));
    va_end(arguments);
    return result;
}

CURLcode curl_easy_perform(CURL* handle)
{
    return LIBCURL(curl_easy_perform)(handle);
}

void curl_easy_cleanup(CURL* handle)
{
    LIBCURL(curl_easy_cleanup)(handle);
}

const char* curl_easy_strerror(CURLcode code)
{
    return LIBCURL(curl_easy_strerror)(code);
}

curl_version_info_data* curl_version_info(CURLversion version)
{
    return LIBCURL(curl_version_info)(version);
}

curl_slist* curl_slist_append(curl_slist* list, const char* text)
{
    return LIBCURL(curl_slist_append)(list, text);
}

void curl_slist_free_all(curl_slist* list)
{
    LIBCURL(curl_slist_free_all)(list);
}

curl_mime* curl_mime_init(CURL* handle)
{
    return LIBCURL(curl_mime_init)(handle);
}

void curl_mime_free(curl_mime* form)
{
    LIBCURL(curl_mime_free)(form);
}

curl_mimepart* curl_mime_addpart(curl_mime* form)
{
    return LIBCURL(curl_mime_addpart)(form);
}

CURLcode curl_mime_name(curl_mimepart* part, const char* name)
{
    return LIBCURL(curl_mime_name)(part, name);
}

CURLcode curl_mime_filename(curl_mimepart* part, const char* fileName)
{
    return LIBCURL(curl_mime_filename)(part, fileName);
}

CURLcode curl_mime_type(curl_mimepart* part, const char* type)
{
    return LIBCURL(curl_mime_type)(part, type);
}

CURLcode curl_mime_data(curl_mimepart* part, const char* data, size_t size)
{
    return LIBCURL(curl_mime_data)(part, data, size);
}

CURLcode curl_mime_data_cb(curl_mimepart* part, curl_off_t size, curl_read_callback read, curl_seek_callback seek,
    curl_free_callback release, void* argument)
{
    return LIBCURL(curl_mime_data_cb)(part, size, read, seek, release, argument);
}

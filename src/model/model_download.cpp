#include "model/model_download.h"

#include "net/curl_handles.h"
#include "net/curl_runtime.h"
#include "platform/file_in_use.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

namespace quillo::model {

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds patience(1); ///< with programs that have one of the files open

/// The right to write a part file, which one download at a time has in this process.
class PartFileClaim {
public:
    /// Null when another one has it.
    static std::unique_ptr<PartFileClaim> take(const fs::path& partPath)
    {
        const std::lock_guard lock(all().mutex);
        const auto [position, isNew] = all().paths.insert(partPath);
        return isNew ? std::unique_ptr<PartFileClaim>(new PartFileClaim(position)) : nullptr;
    }

    ~PartFileClaim()
    {
        const std::lock_guard lock(all().mutex);
        all().paths.erase(position_);
    }
    PartFileClaim(const PartFileClaim&) = delete;
    PartFileClaim& operator=(const PartFileClaim&) = delete;

private:
    struct Claimed {
        std::mutex mutex;
        std::set<fs::path> paths;
    };

    explicit PartFileClaim(std::set<fs::path>::iterator position)
        : position_(position)
    {
    }

    static Claimed& all()
    {
        static Claimed claimed;
        return claimed;
    }

    const std::set<fs::path>::iterator position_;
};

/// The file that receives the body. It is written in large blocks, which takes less time than libcurl's small pieces.
class PartFile {
public:
    explicit PartFile(const fs::path& path)
        : file_(path, std::ios::binary | std::ios::trunc)
    {
        block_.reserve(blockSize);
    }

    /// Whether the file could be opened and every write has succeeded so far.
    bool isGood() const { return file_.good(); }

    void append(std::string_view data)
    {
        if (block_.size() + data.size() > blockSize)
            writeBlock();
        block_ += data;
    }

    void close()
    {
        writeBlock();
        file_.close();
    }

private:
    static constexpr std::size_t blockSize = 256U << 10U;

    void writeBlock()
    {
        file_.write(block_.data(), static_cast<std::streamsize>(block_.size()));
        block_.clear();
    }

    std::ofstream file_;
    std::string block_;
};

/// What the thread owns. The runtime comes first, so that it goes last.
struct DownloadTask {
    CurlRuntime runtime;
    ModelInfo info;
    DownloadReport onProgress;
    fs::path finalPath;
    fs::path partPath;
    std::chrono::seconds stallLimit;
};

struct ProgressContext {
    DownloadReport onProgress;
    ModelInfo info;
};

void report(const DownloadReport& onProgress, const ModelInfo& info) noexcept
{
    try {
        if (onProgress)
            onProgress(info, info.progress);
    } catch (...) { // neither libcurl's frames nor the end of a thread may be unwound
    }
}

int reportProgress(void* self, curl_off_t expected, curl_off_t received, curl_off_t, curl_off_t)
{
    constexpr int goOn = 0;
    if (expected < 1)
        return goOn;
    auto& context = *static_cast<ProgressContext*>(self);
    context.info.progress = static_cast<std::int32_t>(received * 100 / expected);
    report(context.onProgress, context.info);
    return goOn;
}

/// Ours rather than libcurl's, which would need a FILE of the C runtime that libcurl itself was built with.
std::size_t writeToFile(const char* data, std::size_t size, std::size_t count, void* destination)
{
    auto& file = *static_cast<PartFile*>(destination);
    file.append({data, size * count});
    return file.isGood() ? size * count : 0; // 0 fails the transfer
}

/// Lets no redirect lead out of TLS, if that was asked for. False when libcurl cannot see to it.
bool stayWithinTls(CURL* handle, const std::string& url)
{
    if (!url.starts_with("https:"))
        return true;
#if LIBCURL_VERSION_NUM >= 0x075500
    return curl_easy_setopt(handle, CURLOPT_REDIR_PROTOCOLS_STR, "https") == CURLE_OK;
#else
    return curl_easy_setopt(handle, CURLOPT_REDIR_PROTOCOLS, CURLPROTO_HTTPS) == CURLE_OK;
#endif
}

/// Whether the model has arrived completely in the file.
bool transfer(CURL* handle, const DownloadTask& task, PartFile& file)
{
    ProgressContext context{task.onProgress, task.info};
    curl_easy_setopt(handle, CURLOPT_URL, task.info.url.c_str());
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L); // signal handlers belong to the process, not to one thread of it
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, writeToFile);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &file);
    curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, reportProgress);
    curl_easy_setopt(handle, CURLOPT_XFERINFODATA, &context);
    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT, static_cast<long>(task.stallLimit.count()));
    curl_easy_setopt(handle, CURLOPT_LOW_SPEED_LIMIT, 1L); // bytes per second
    curl_easy_setopt(handle, CURLOPT_LOW_SPEED_TIME, static_cast<long>(task.stallLimit.count()));

    const CURLcode result = curl_easy_perform(handle);
    file.close();
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    return result == CURLE_OK && status == 200 && file.isGood();
}

/// Whether the model lies under its name. If not, nothing stays of what was fetched.
bool fetch(const DownloadTask& task)
{
    const CurlHandle handle(curl_easy_init());
    if (!handle || !stayWithinTls(handle.get(), task.info.url))
        return false;
    PartFile file(task.partPath);
    if (!file.isGood())
        return false;
    // Without the flush a loss of power could leave a stump under the model's name.
    if (transfer(handle.get(), task, file) && platform::flushToDisk(task.partPath, patience)
        && platform::replaceFile(task.partPath, task.finalPath, patience))
        return true;
    platform::removeFile(task.partPath, patience);
    return false;
}

void reportEnd(DownloadTask& task, ModelStatus status)
{
    task.info.status = status;
    task.info.progress = status == ModelStatus::Downloaded ? 100 : 0;
    report(task.onProgress, task.info);
}

} // namespace

void startDownload(
    const ModelInfo& model, const fs::path& file, DownloadReport onProgress, std::chrono::seconds stallLimit)
{
    const auto task =
        std::make_shared<DownloadTask>(DownloadTask{{}, model, std::move(onProgress), file, file, stallLimit});
    task->partPath += ".part";
    task->info.status = ModelStatus::Downloading;
    task->info.progress = 0;
    std::error_code error;
    fs::create_directories(file.parent_path(), error);
    if (error) {
        reportEnd(*task, ModelStatus::Error);
        return;
    }

    auto claim = PartFileClaim::take(task->partPath);
    if (!claim)
        return;
    try {
        std::thread([task, claim = std::move(claim)]() mutable {
            const bool succeeded = fetch(*task);
            claim.reset(); // the receiver of the last report may ask again
            reportEnd(*task, succeeded ? ModelStatus::Downloaded : ModelStatus::Error);
        }).detach();
    } catch (const std::system_error&) { // no more threads; the claim went with the closure
        reportEnd(*task, ModelStatus::Error);
    }
}

} // namespace quillo::model

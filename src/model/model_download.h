#pragma once

#include "model/catalogue.h"

#include <chrono>
#include <filesystem>
#include <functional>

namespace quillo::model {

/// How a download stands: its model, with status and progress, and the percentage once more. First any number of
/// Downloading with 0 to 100, and none as long as the size is unknown; then exactly one Downloaded with 100 or Error
/// with 0. They come from the download's thread, except that of a download which cannot begin: its one Error comes from
/// the caller's, before startDownload() returns. What a receiver throws is dropped.
using DownloadReport = std::function<void(const ModelInfo&, int)>;

/// Fetches a model into this file, whose folder is created, on a thread of its own that owns all it touches and runs to
/// its end.
///
/// The file appears under its name, in place of an older one, when it is complete; until then it is FILE.part, of which
/// nothing stays after a failure. A request for a file that is already being fetched is dropped, without any report;
/// once the final report is made, from inside it too, the next one is accepted. It fails when the server does not
/// accept, or less than one byte a second arrives, for stallLimit. onProgress may be empty. Any thread.
void startDownload(const ModelInfo& model, const std::filesystem::path& file, DownloadReport onProgress,
    std::chrono::seconds stallLimit);

} // namespace quillo::model

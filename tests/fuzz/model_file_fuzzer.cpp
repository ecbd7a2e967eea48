// Damages the mini model in ever new ways and lets a child process load the file and recognise with it:
//   fuzz_model_file [-max_total_time=SECONDS] [-seed=NUMBER] [-runs=NUMBER]
//
// What must hold: no exception leaves WhisperTranscriber, no crash begins in our code, a file that is refused leaves no
// model, and afterwards the same process recognises with the undamaged file as if nothing had been. whisper.cpp trusts
// much of what it reads. Files that make it crash, or never come to an end, are counted and shown with the place; they
// fail nothing here, since only a process of its own would keep them from the program.

#include "support/files.h"
#include "support/temporary_folder.h"
#include "transcribe/whisper_transcriber.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace quillo {
namespace {

constexpr rlim_t memoryLimit = 4ULL << 30U; // bytes; a hostile file may ask for any amount
constexpr unsigned timeLimit = 10; // seconds

using Random = std::mt19937_64;

std::size_t below(Random& random, std::size_t limit)
{
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
}

std::uint32_t numberAt(const std::string& bytes, std::size_t offset)
{
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

/// A model file, and where in it the numbers stand that tell what follows.
struct Layout {
    std::string bytes;
    std::vector<std::size_t> numbers;
    std::size_t firstTensor = 0;

    explicit Layout(std::string content)
        : bytes(std::move(content))
    {
        std::size_t offset = 0;
        const auto next = [&] {
            numbers.push_back(offset);
            offset += 4;
            return std::size_t{numberAt(bytes, offset - 4)};
        };
        for (int i = 0; i < 12; ++i) // magic number, parameters
            next();
        const std::size_t filters = next();
        offset += filters * next() * sizeof(float);
        for (std::size_t words = next(); words > 0; --words)
            offset += next();
        firstTensor = offset;
        while (offset + 12 <= bytes.size()) {
            const std::size_t dimensions = next();
            const std::size_t nameLength = next();
            std::size_t size = next() == 0 ? 4 : 2; // single or half precision
            for (std::size_t i = 0; i < dimensions; ++i)
                size *= next();
            offset += nameLength + size;
        }
    }
};

std::uint32_t damagedNumber(Random& random, std::uint32_t number)
{
    const auto limited = [&random](std::size_t limit) { return static_cast<std::uint32_t>(below(random, limit)); };
    const std::uint32_t candidates[] = {limited(16) - 4, number + limited(5) - 2, number << limited(12), number / 2,
        0x80000000U - limited(3), static_cast<std::uint32_t>(random())};
    return candidates[below(random, std::size(candidates))];
}

std::string damaged(const Layout& model, Random& random)
{
    std::string bytes = model.bytes;
    for (std::size_t left = 1 + below(random, 3); left > 0 && !bytes.empty(); --left) {
        const std::size_t anywhere = below(random, bytes.size());
        const std::size_t length = std::min(bytes.size() - anywhere, 1 + below(random, 64));
        switch (below(random, 8)) {
        case 0: // cut off
            bytes.resize(anywhere);
            break;
        case 1: // a piece is missing
            bytes.erase(anywhere, length);
            break;
        case 2: // a piece came twice
            bytes.insert(anywhere, bytes.substr(anywhere, length));
            break;
        case 3: // rubbish, mostly within the weights
            for (std::size_t i = 0; i < length; ++i)
                bytes[anywhere + i] = static_cast<char>(random());
            break;
        case 4: // rubbish before the weights
            bytes[below(random, std::min(model.firstTensor, bytes.size()))] = static_cast<char>(random());
            break;
        default: { // wrong numbers; those of the parameters as often as all others
            const std::size_t count = below(random, 2) == 0 ? 15 : model.numbers.size();
            const std::size_t offset = model.numbers[below(random, count)];
            if (offset + 4 <= bytes.size()) {
                const std::uint32_t number = damagedNumber(random, numberAt(bytes, offset));
                std::memcpy(bytes.data() + offset, &number, sizeof number);
            }
        }
        }
    }
    return bytes;
}

/// How a child process ended. The values are its exit codes.
enum Outcome { Refused, Loaded, BrokenPromise, CrashInLibrary, CrashInOurCode };

[[noreturn]] void endCrashed(int signal, const char* place, Outcome outcome)
{
    dprintf(STDOUT_FILENO, "%s, %s\n", strsignal(signal), place ? place : "a function without a name");
    _exit(outcome);
}

/// Tells whose code has crashed: the innermost function that does not belong to the system's libraries. ModelFile does
/// not count when whisper.cpp calls it, since it writes where whisper.cpp tells it to.
void reportCrash(int signal)
{
    static volatile std::sig_atomic_t looking = 0;
    if (looking)
        endCrashed(signal, "with the stack destroyed", CrashInLibrary);
    looking = 1;
    std::array<void*, 64> frames{};
    const int count = backtrace(frames.data(), static_cast<int>(frames.size()));
    for (std::size_t i = 1; i < static_cast<std::size_t>(count); ++i) { // the first is this function
        Dl_info info{};
        if (dladdr(frames[i], &info) == 0 || !info.dli_fname)
            continue;
        if (std::strstr(info.dli_fname, "/libwhisper") || std::strstr(info.dli_fname, "/libggml"))
            endCrashed(signal, info.dli_sname, CrashInLibrary);
        const bool isModelFile = info.dli_sname && std::strstr(info.dli_sname, "ModelFile");
        if (std::strstr(info.dli_fname, "fuzz_model_file") && !isModelFile)
            endCrashed(signal, info.dli_sname, CrashInOurCode);
    }
    endCrashed(signal, "in a thread of the system's libraries", CrashInLibrary);
}

void prepareForTheWorst()
{
    std::array<void*, 1> none{};
    backtrace(none.data(), 1); // the first call loads a library, which a crashed process may not be able to
    static std::array<char, 65536> stack;
    const stack_t alternative{stack.data(), 0, stack.size()};
    sigaltstack(&alternative, nullptr);
    struct sigaction action { };
    action.sa_handler = reportCrash;
    action.sa_flags = static_cast<int>(SA_ONSTACK | SA_NODEFER);
    for (const int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT})
        sigaction(signal, &action, nullptr);

    const rlimit memory{memoryLimit, memoryLimit};
    setrlimit(RLIMIT_AS, &memory);
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    setenv("GGML_NO_BACKTRACE", "1", 1);
    alarm(timeLimit);
}

const std::string miniModel = QUILLO_TEST_DATA_DIR "/ggml-mini.bin";

/// A second of a gliding tone, in which the mini model hears something.
std::vector<float> sound()
{
    std::vector<float> samples(16000);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const auto time = static_cast<float>(i) / 16000.0F;
        samples[i] = 0.3F * std::sin(2000.0F * time * (1.0F + time));
    }
    return samples;
}

std::string heardWith(WhisperTranscriber& transcriber, const std::vector<float>& samples)
{
    transcriber.addSamples(samples.data(), samples.size());
    return transcriber.transcribe();
}

/// What the child process does with a damaged file.
Outcome tryFile(const std::string& path, const std::string& expectedAfterwards)
{
    const auto broken = [](const char* what) {
        dprintf(STDOUT_FILENO, "does not hold: %s\n", what);
        return BrokenPromise;
    };
    try {
        const std::vector<float> samples = sound();
        WhisperTranscriber transcriber;
        const bool loaded = transcriber.loadModel(path);
        if (transcriber.isLoaded() != loaded)
            return broken("what is said to be loaded is");
        const std::string text = heardWith(transcriber, samples);
        if (!loaded && !text.empty())
            return broken("without a model nothing is heard");
        if (!transcriber.loadModel(miniModel))
            return broken("afterwards an undamaged file can be loaded");
        if (heardWith(transcriber, samples) != expectedAfterwards)
            return broken("afterwards an undamaged file hears the same");
        return loaded ? Loaded : Refused;
    } catch (...) {
        return broken("no exception gets through");
    }
}

struct ChildReport {
    int status = 0;
    std::string output; ///< its standard output, and its errors
};

template<typename Function> ChildReport runInChild(Function function)
{
    std::array<int, 2> pipe{};
    if (::pipe(pipe.data()) != 0)
        std::abort();
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(pipe[1], STDOUT_FILENO);
        dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO); // many errors are expected
        prepareForTheWorst();
        _exit(function());
    }
    close(pipe[1]);
    ChildReport report;
    std::array<char, 256> buffer{};
    for (ssize_t length = 0; (length = read(pipe[0], buffer.data(), buffer.size())) > 0;)
        report.output.append(buffer.data(), static_cast<std::size_t>(length));
    close(pipe[0]);
    waitpid(child, &report.status, 0);
    return report;
}

/// The campaign: its counts and its findings.
class Campaign {
public:
    explicit Campaign(std::uint64_t seed)
        : seed_(seed)
        , heard_(runInChild([] {
            WhisperTranscriber transcriber;
            transcriber.loadModel(miniModel);
            dprintf(STDOUT_FILENO, "%s", heardWith(transcriber, sound()).c_str());
            return 0;
        }).output)
    {
    }

    void runOnce()
    {
        Random random(seed_ + runs_);
        const std::string path = (folder_.path() / "model.bin").string();
        test::writeFile(path, damaged(model_, random));
        const ChildReport report = runInChild([&] { return tryFile(path, heard_); });
        count(report);
        ++runs_;
    }

    std::uint64_t runs() const { return runs_; }

    /// Prints the counts. True when everything held.
    bool summarise() const
    {
        std::printf("%llu files:", static_cast<unsigned long long>(runs_));
        for (const auto& [outcome, times] : outcomes_)
            std::printf(" %d %s;", times, outcome.c_str());
        std::printf(" %d findings\n", findings_);
        for (const auto& [place, seeds] : places_)
            std::printf("  known limit, %zu times, first with -seed=%llu -runs=1: %s", seeds.size(),
                static_cast<unsigned long long>(seeds.front()), place.c_str());
        return findings_ == 0;
    }

private:
    void count(const ChildReport& report)
    {
        const int code = WIFEXITED(report.status) ? WEXITSTATUS(report.status) : -WTERMSIG(report.status);
        if (code == Refused) {
            ++outcomes_["refused"];
        } else if (code == Loaded) {
            ++outcomes_["loaded"];
        } else if (code == CrashInLibrary) {
            ++outcomes_["crashed inside whisper.cpp"];
            places_[report.output].push_back(seed_ + runs_);
        } else if (code == -SIGALRM) {
            ++outcomes_["took too long"];
        } else {
            ++findings_;
            std::printf("FINDING: -seed=%llu -runs=1: ended with %d: %s\n",
                static_cast<unsigned long long>(seed_ + runs_), code, report.output.c_str());
        }
    }

    const std::uint64_t seed_;
    const Layout model_{test::contentOf(miniModel)};
    const test::TemporaryFolder folder_;
    const std::string heard_;
    std::uint64_t runs_ = 0;
    std::map<std::string, int> outcomes_;
    int findings_ = 0;
    std::map<std::string, std::vector<std::uint64_t>> places_; // of crashes inside whisper.cpp, with their seeds
};

std::uint64_t option(int argc, char** argv, std::string_view name, std::uint64_t otherwise)
{
    for (int i = 1; i < argc; ++i)
        if (const std::string_view argument = argv[i]; argument.starts_with(name))
            return std::strtoull(argument.data() + name.size(), nullptr, 10);
    return otherwise;
}

} // namespace
} // namespace quillo

int main(int argc, char** argv)
{
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::seconds(quillo::option(argc, argv, "-max_total_time=", 10));
    const std::uint64_t runs = quillo::option(argc, argv, "-runs=", ~0ULL);
    quillo::Campaign campaign(quillo::option(argc, argv, "-seed=", std::random_device{}()));
    while (campaign.runs() < runs && Clock::now() < end)
        campaign.runOnce();
    return campaign.summarise() ? 0 : 1;
}

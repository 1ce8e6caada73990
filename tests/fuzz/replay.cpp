// Runs a target without libFuzzer: the inputs of its corpus, then changes of them that chance
// makes, the same ones each time. Keeps what breaks it as ./finding.
//
//   fuzz_NAME FOLDER [RUNS]     or     fuzz_NAME FILE

#include "fuzz.h"

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

// So that whatever they find goes through the handler below.
// NOLINTBEGIN(bugprone-reserved-identifier): the sanitizers' names
extern "C" const char *__asan_default_options()
{
    return "abort_on_error=1:handle_segv=0";
}
extern "C" const char *__ubsan_default_options()
{
    return "abort_on_error=1:print_stacktrace=1";
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

std::string input; // NOLINT(*-avoid-non-const-global-variables): the handler has nothing else

void keepInput(int signal)
{
    const int file = ::open("finding", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    [[maybe_unused]] const ssize_t written = ::write(file, input.data(), input.size());
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void run()
{
    constexpr unsigned seconds = 20;
    ::alarm(seconds);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(input.data()), input.size());
}

/// A place in the text: take or put something here.
std::size_t placeIn(const std::string &text, std::mt19937 &random)
{
    return random() % (text.size() + 1);
}

void change(const std::string &other, std::mt19937 &random)
{
    const std::size_t at = placeIn(input, random);
    const std::string part = other.substr(placeIn(other, random), 1 + random() % 32);
    switch (random() % 4) {
    case 0:
        input.insert(at, 1, static_cast<char>(random()));
        break;
    case 1:
        input.erase(at, 1 + random() % 8);
        break;
    case 2:
        input.insert(at, part);
        break;
    default:
        input.replace(at, part.size(), part);
    }
}

} // namespace

int main(int argc, char **argv)
{
    const std::filesystem::path place = argc > 1 ? argv[1] : "";
    std::set<std::filesystem::path> paths;
    if (std::filesystem::is_directory(place))
        paths.insert(std::filesystem::directory_iterator(place), {});
    else if (std::filesystem::exists(place))
        paths.insert(place);
    if (paths.empty()) {
        std::fprintf(stderr, "usage: %s FOLDER [RUNS], or FILE\n", argv[0]);
        return 2;
    }
    for (const int signal : {SIGABRT, SIGALRM, SIGFPE, SIGSEGV})
        std::signal(signal, keepInput);

    std::vector<std::string> corpus;
    for (const std::filesystem::path &path : paths) {
        std::ifstream file(path, std::ios::binary);
        input.assign(std::istreambuf_iterator<char>(file), {});
        corpus.push_back(input);
        run();
    }
    const int runs = argc > 2 ? std::stoi(argv[2]) : 0;
    std::mt19937 random; // NOLINT(cert-msc*): the same every time
    for (int i = 0; i < runs; ++i) {
        input = corpus[random() % corpus.size()];
        for (std::size_t changes = 1 + random() % 4; changes > 0; --changes)
            change(corpus[random() % corpus.size()], random);
        run();
    }
    std::printf("%zu inputs, %d changed ones\n", corpus.size(), runs);
    return 0;
}

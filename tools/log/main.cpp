// ravelo-log: reads governor logs and shows them as a table, as JSON or as a page with charts.

#include <clocale>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <new>
#include <system_error>

#include "tools/log/log_source.h"
#include "tools/log/options.h"
#include "tools/log/progress.h"
#include "tools/log/sentences.h"
#include "tools/log/writer.h"

using namespace ravelo::logview;

namespace {

constexpr int success = 0;
constexpr int failed = 1;
constexpr int wrong_usage = 2;

// The catalogs lie beside the program where it was built, and in the locale folder where it is
// installed.
void find_sentences(sentences &known) {
    std::error_code error;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
    const auto folder = program.parent_path();
    const bool beside = known.add_folder(folder / "locale");
    if (!beside && !known.add_folder(folder / RAVELO_LOCALE_FROM_BIN))
        (void)std::fputs(
            "ravelo-log: the message catalogs are missing, so the records of actions "
            "are not taken apart.\n",
            stderr);
}

std::unique_ptr<writer> make_writer(const options &asked) {
    switch (asked.output) {
        case form::json:
            return make_json();
        case form::html:
            return make_page(asked);
        default:
            return make_table(asked);
    }
}

uint64_t malformed_lines(const merged_logs &logs) {
    uint64_t count = 0;
    for (const auto &source : logs.sources())
        count += source->malformed();
    return count;
}

// Says what was wrong with the files. Returns whether all could be read.
bool report(const merged_logs &logs) {
    bool all_read = true;
    for (const auto &source : logs.sources()) {
        const char *const path = source->path().c_str();
        if (!source->failure().empty()) {
            (void)std::fprintf(stderr, "ravelo-log: %s: %s\n", path, source->failure().c_str());
            all_read = false;
        }
        if (source->malformed() != 0)
            (void)std::fprintf(stderr,
                               "ravelo-log: %s: lines that are no records: %llu, the first is "
                               "line %llu\n",
                               path, static_cast<unsigned long long>(source->malformed()),
                               static_cast<unsigned long long>(source->first_malformed()));
    }
    return all_read;
}

int run(const options &asked) {
    sentences known;
    find_sentences(known);
    uint64_t size = 0;
    for (const std::string &path : asked.files)
        size += size_of_file(path);
    progress bar(size);
    merged_logs logs(asked.files, known);
    const std::unique_ptr<writer> output = make_writer(asked);
    while (const record *const read = logs.next()) {
        if (asked.wanted.passes(*read))
            output->add(*read);
        if (bar.is_due())
            bar.show(logs.bytes_read());
    }
    bar.clear();
    output->finish(malformed_lines(logs));
    const bool written = std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
    if (!written)
        std::perror("ravelo-log: standard output");
    const bool all_read = report(logs);
    return written && all_read ? success : failed;
}

}  // namespace

int main(int count, char **words) {
    try {
        (void)std::setlocale(LC_CTYPE, "");  // otherwise only ASCII is shown
        options asked;
        switch (parse_options(count, words, asked)) {
            case parsed::done:
                return success;
            case parsed::wrong:
                return wrong_usage;
            default:
                return run(asked);
        }
    } catch (const std::bad_alloc &) {
        (void)std::fputs("ravelo-log: not enough memory\n", stderr);
    } catch (const std::exception &problem) {
        (void)std::fprintf(stderr, "ravelo-log: %s\n", problem.what());
    }
    return failed;
}

// Governs the recording of every example in examples/ with its rules and compares the log, the
// journal and, where there is a sum.awk, the sums with what the folder says they are.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

#include "tests/harness.h"

namespace ravelo::test {
namespace {

namespace fs = std::filesystem;

std::string text_of(const fs::path &file) {
    std::ifstream opened(file);
    EXPECT_TRUE(opened) << file;
    return {std::istreambuf_iterator<char>(opened), {}};
}

// The log without its times, and without the folder of the configuration file.
Lines records_of(const TempInstance &instance) {
    Lines records = of_type(instance.log());
    for (std::string &record : records)
        if (const size_t at = record.find(instance.path("")); at != std::string::npos)
            record.erase(at, instance.path("").size());
    return records;
}

void try_out(const fs::path &folder) {
    SCOPED_TRACE(folder);
    const TempInstance instance;
    const std::string recorded = text_of(folder / "ORDERS.0.recording");
    (void)instance.write("ORDERS.0.recording", recorded);
    instance.config(text_of(folder / "rules.cfg"));
    Daemon daemon(instance, {.plain = false, .database = "orders"});
    for (const std::string &line : split_lines(recorded))
        if (line.starts_with("snapshot ")) {
            EXPECT_TRUE(daemon.pass()) << line;
        }
    EXPECT_EQ(daemon.stop().status, 0);
    EXPECT_EQ(records_of(instance), split_lines(text_of(folder / "expected.log")));
    EXPECT_EQ(instance.read("tmp/ORDERS.0.journal"), text_of(folder / "expected.journal"));
    if (!fs::exists(folder / "sum.awk"))
        return;
    const std::string sum = "cd '" + instance.path("") + "' && awk -f '" +
                            (folder / "sum.awk").string() + "' log > sums";
    ASSERT_EQ(std::system(sum.c_str()), 0);  // NOLINT(cert-env33-c): a shell is meant
    EXPECT_EQ(instance.read("sums"), text_of(folder / "expected.sums"));
}

TEST(Examples, DoWhatTheirFoldersSay) {
    int tried = 0;
    for (const fs::directory_entry &each : fs::directory_iterator(RAVELO_EXAMPLES))
        if (each.is_directory() && each.path().filename() != "orders") {
            try_out(each.path());
            ++tried;
        }
    EXPECT_GE(tried, 5);
}

}  // namespace
}  // namespace ravelo::test

// Governs the recording of every example in examples/ with its rules and compares the log, the
// journal and, where there is a sum.awk, the sums with what the folder says they are.
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>

#include "tests/harness.h"

namespace ravelo::test {
namespace {

namespace fs = std::filesystem;

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
    const auto text = [&](const char *name) { return instance.read(folder / name); };
    const std::string recorded = text("ORDERS.0.recording");
    (void)instance.write("ORDERS.0.recording", recorded);
    instance.config(text("rules.cfg"));
    Daemon daemon(instance, {.plain = false, .database = "orders"});
    for (const std::string &line : split_lines(recorded))
        EXPECT_TRUE(!line.starts_with("snapshot ") || daemon.pass()) << line;
    EXPECT_EQ(daemon.stop().status, 0);
    EXPECT_EQ(records_of(instance), split_lines(text("expected.log")));
    EXPECT_EQ(instance.read("tmp/ORDERS.0.journal"), text("expected.journal"));
    if (!fs::exists(folder / "sum.awk"))
        return;
    const std::string run = "cd '" + instance.path("") + "' && awk -f '" + folder.string();
    // NOLINTNEXTLINE(cert-env33-c): that a shell runs it is the point
    EXPECT_EQ(std::system((run + "/sum.awk' log > sums").c_str()), 0);
    EXPECT_EQ(instance.read("sums"), text("expected.sums"));
}

TEST(Examples, DoWhatTheirFoldersSay) {
    int tried = 0;
    for (const fs::directory_entry &each : fs::directory_iterator(RAVELO_EXAMPLES))
        if (fs::exists(each.path() / "rules.cfg")) {
            try_out(each.path());
            ++tried;
        }
    EXPECT_GE(tried, 5);
}

}  // namespace
}  // namespace ravelo::test

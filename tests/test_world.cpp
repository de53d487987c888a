// Names that come from outside may hold any byte: none is used as a format, and none that would
// steer a terminal or break a line gets anywhere.
#include <algorithm>
#include <gtest/gtest.h>

#include "tests/harness.h"

namespace ravelo::test {
namespace {

bool is_control(char c) {
    return (static_cast<unsigned char>(c) < 0x20 && c != '\n') || c == 0x7F;
}

// The instance, its database and files, a rule and an application all bear the name. A database of
// that name is only governed where a file can be called so.
void play_named(const std::string &name, bool governed, bool plain) {
    const TempInstance instance;
    const std::string text = "'" + name + "' ";
    const std::string rules = instance.write(
        name + ".cfg", "dbname " + text + "; debug 5; desc " + text + "authid " + text +
                           "applname " + text + "setlimit cpu 1 action force;");
    const App app{.agent_id = 1, .applname = name, .appl_id = name, .authid = name, .cpu = 1};
    instance.recording(
        Recording().line("result operation=force call=1 sqlcode=7").snapshot(1000).app(app),
        name + ".0");
    Daemon daemon(instance, {.plain = plain, .name = name},
                  {"start", name, "0", rules, instance.path(name + ".log")});
    ASSERT_EQ(daemon.pass(), governed);
    if (governed)
        (void)instance.run({"stop", name, "0"});
    const Outcome &ended = daemon.wait_exit();
    const Outcome validated = instance.run({"validate", name, rules}, {.plain = plain});
    const std::string log = instance.read(name + ".log");
    const std::string seen = log + instance.read("syslog") + ended.out + ended.err + validated.out +
                             validated.err + instance.read("tmp/" + name + ".0.journal");
    EXPECT_TRUE(std::none_of(seen.begin(), seen.end(), is_control)) << seen;
    EXPECT_EQ(of_type(parse_log(log), "FORCE").size(), governed ? 1U : 0U) << log;
    EXPECT_EQ(log.find(name) != std::string::npos, governed) << log;
    const Lines system_log = instance.system_log();
    ASSERT_EQ(system_log.size(), 1U);
    EXPECT_TRUE(system_log[0].starts_with("3|ravelod (0) db: ")) << system_log[0];
}

TEST(World, NamesAreNeitherFormatsNorControls) {
    for (const bool plain : {true, false}) {
        for (const char *const name : {"%S%N%5$S", "A\"B\\`$;", "\xFF\xFE\xC3(\x9B", "%"})
            play_named(name, true, plain);
        for (const char *const name : {"A\nB%n", "A\tB\r", "\x1B[31m\x7F", "\x01%n"})
            play_named(name, false, plain);
    }
}

}  // namespace
}  // namespace ravelo::test

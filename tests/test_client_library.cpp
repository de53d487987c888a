// The client library as the daemon's users meet it: instance, settings, recordings, messages.
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/harness.h"

namespace ravelo::test {
namespace {

const Options real_texts{.plain = false};

bool holds(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

TEST(Instance, TmpIsMadeSafeOrRefused) {
    const TempInstance instance;
    instance.config("dbname sample; interval 10; setlimit cpu 60;");
    instance.recording(Recording().snapshot(1000));
    const mode_t before = umask(0);
    {
        Daemon daemon(instance);
        ASSERT_TRUE(daemon.pass());
        daemon.stop();
    }
    umask(before);
    struct stat info = {};
    ASSERT_EQ(stat(instance.path("tmp").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777U, 02770U);
    ASSERT_EQ(chmod(instance.path("tmp").c_str(), 0777), 0);
    const Outcome open = instance.run({"stop", "sample", "0"}, real_texts);
    EXPECT_EQ(open.status, 253);
    EXPECT_TRUE(holds(open.err, "9001") && holds(open.err, "writable by everyone")) << open.err;
    ASSERT_EQ(chmod(instance.path("").c_str(), 01777), 0);
    const Outcome open_directory = instance.run({"stop", "sample", "0"}, real_texts);
    EXPECT_TRUE(holds(open_directory.err, "9008")) << open_directory.err;
    const Outcome missing =
        instance.run({"stop", "sample", "0"},
                     {.plain = false, .env = {{"DBM_INSTANCE", instance.path("absent")}}});
    EXPECT_TRUE(holds(missing.err, "ENOENT") && holds(missing.err, "absent")) << missing.err;
}

TEST(Instance, OnlyItsOwnersMayGovern) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become someone else";
    // Programs and library where anybody may run them, which a build folder need not allow.
    const TempInstance open_to_all;
    const std::filesystem::path ravelod = open_to_all.path("ravelod");
    std::filesystem::copy_file(RAVELOD, ravelod);
    std::filesystem::copy_file(std::filesystem::path(RAVELOD).replace_filename("libdbm.so.1"),
                               open_to_all.path("libdbm.so.1"));
    ASSERT_EQ(chmod(ravelod.parent_path().c_str(), 0755), 0);
    const auto nobody = [&](const std::string &groups, const std::string &words) {
        const std::string command = "setpriv --reuid 65534 --regid 65534 --groups " + groups +
                                    " env " + words + " > /dev/null 2>&1";
        return WEXITSTATUS(std::system(command.c_str()));  // NOLINT(cert-env33-c)
    };
    const std::string validate = "'" + ravelod.string() + "' validate x y";
    if (nobody("65534", "test -x '" + ravelod.string() + "'") != 0)
        GTEST_SKIP() << "others may not enter " << std::filesystem::temp_directory_path();
    // /usr: a folder that others may look at, but which is not theirs.
    EXPECT_EQ(nobody("65534", "DBM_INSTANCE=/usr " + validate), 255);
    EXPECT_EQ(nobody("0", "DBM_INSTANCE=/usr " + validate), 254);
    EXPECT_EQ(nobody("65534", "DBM_INSTANCE=/root/absent " + validate), 255);
    // What is not there is nobody's: the file "y" is what is missing.
    EXPECT_EQ(nobody("65534", "DBM_INSTANCE=/usr/absent " + validate), 254);
    EXPECT_EQ(nobody("65534", "DBM_INSTANCE=/etc/passwd " + validate), 254);

    // What root leaves keeps nobody of the directory's group from going on.
    const TempInstance shared;
    const std::string words = " sample 0";
    const std::string command = "'" + ravelod.string() + "' ";
    const std::string where = "DBM_INSTANCE='" + shared.path("") + "' ";
    const std::string start = where + command + "start" + words + " /absent /dev/null";
    ASSERT_EQ(chown(shared.path("").c_str(), 0, 65534), 0);
    ASSERT_EQ(chmod(shared.path("").c_str(), 0770), 0);
    ASSERT_TRUE(std::filesystem::create_directory(shared.path("tmp")));  // as it was once made
    ASSERT_EQ(chmod(shared.path("tmp").c_str(), 0770), 0);
    EXPECT_EQ(nobody("65534", start), 2);
    EXPECT_EQ(shared.run({"stop", "sample", "0"}).status, 2);
    shared.write("tmp/SAMPLE.0.GDB", "");
    ASSERT_EQ(chmod(shared.stop_file().c_str(), 0600), 0);
    EXPECT_EQ(nobody("65534", start), 254);  // for its rules
    EXPECT_FALSE(std::filesystem::exists(shared.stop_file()));
    // A status file of root's, in a folder that nobody may enter: that is said.
    ASSERT_EQ(chmod(shared.path("tmp").c_str(), 0700), 0);
    const std::string said = " 2>&1 | grep -q 'Message 1006'\"";
    EXPECT_EQ(nobody("65534", where + "sh -c \"" + command + "stop" + words + said), 0);
    ASSERT_EQ(chown(shared.path("tmp").c_str(), 4711, 65534), 0);
    const Outcome strange = shared.run({"stop", "sample", "0"}, real_texts);
    EXPECT_TRUE(holds(strange.err, "9009") && holds(strange.err, "another user")) << strange.err;
}

// A copy of the library with catalogs of the test's own beside it.
class OwnCatalogs {
  public:
    explicit OwnCatalogs(const TempInstance &instance) : instance_(instance) {
        namespace fs = std::filesystem;
        fs::create_directories(instance.path("lib"));
        fs::copy_file(fs::path(RAVELOD).parent_path() / "libdbm.so.1",
                      instance.path("lib/libdbm.so.1"));
    }
    void add(const std::string &language, const std::string &bytes) const {
        std::filesystem::create_directories(
            instance_.path("lib/locale/" + language + "/LC_MESSAGES"));
        instance_.write("lib/locale/" + language + "/LC_MESSAGES/ravelo.mo", bytes);
    }
    [[nodiscard]] std::string usage_error(const std::string &language) const {
        return instance_
            .run({"stop", "sample", "7"}, {.plain = false,
                                           .env = {{"LD_LIBRARY_PATH", instance_.path("lib")},
                                                   {"LANG", language},
                                                   {"LC_ALL", ""},
                                                   {"LANGUAGE", ""}}})
            .err;
    }

  private:
    const TempInstance &instance_;
};

// A binary catalog with one message.
std::string catalog(const std::string &number, const std::string &text) {
    std::string bytes;
    const auto word = [&bytes](uint32_t value) {
        bytes.append(reinterpret_cast<const char *>(&value), sizeof(value));
    };
    const auto length = static_cast<uint32_t>(number.size());
    for (const uint32_t value : {0x950412DEU, 0U, 1U, 28U, 36U, 0U, 0U})
        word(value);
    word(length);
    word(44);
    word(static_cast<uint32_t>(text.size()));
    word(45 + length);
    return bytes + number + '\0' + text + '\0';
}

TEST(Messages, ComeInTheUsersLanguage) {
    const TempInstance instance;
    const OwnCatalogs catalogs(instance);
    EXPECT_EQ(catalogs.usage_error("C"), "\nravelod: Message 1005: SAMPLE, 7\n");  // none at all
    catalogs.add("en", catalog("1005", "no %1 on %2 %3%%n %s"));
    catalogs.add("de", catalog("1005", "kein %1"));
    EXPECT_EQ(catalogs.usage_error("C"), "\nravelod: no SAMPLE on 7 %%n %s\n");
    EXPECT_EQ(catalogs.usage_error("de_DE.UTF-8"), "\nravelod: kein SAMPLE\n");
    EXPECT_EQ(catalogs.usage_error("fr_FR"), "\nravelod: no SAMPLE on 7 %%n %s\n");
    EXPECT_EQ(catalogs.usage_error("../de"), "\nravelod: no SAMPLE on 7 %%n %s\n");
    catalogs.add("de", catalog("1006", "anderes"));
    EXPECT_EQ(catalogs.usage_error("de_DE.UTF-8"), "\nravelod: no SAMPLE on 7 %%n %s\n");
}

TEST(Messages, ComeInGermanWithoutAnInstalledLocale) {
    const TempInstance instance;
    instance.recording(Recording().snapshot(100).app({.agent_id = 7, .applname = "m", .cpu = 9}));
    instance.config("dbname sample; desc 'ä' setlimit cpu 5 action force;");
    const Options german = {
        .plain = false,
        .env = {{"LANG", "de_DE.UTF-8"}, {"LC_ALL", ""}, {"LC_MESSAGES", ""}, {"LANGUAGE", ""}}};
    Daemon daemon(instance, german);
    EXPECT_TRUE(daemon.pass());
    EXPECT_EQ(daemon.stop().status, 0);
    const Lines forced = of_type(instance.log(), "FORCE");
    ASSERT_EQ(forced.size(), 1U);
    EXPECT_TRUE(holds(forced[0], "FORCE Anwendung m (")) << forced[0];
    EXPECT_TRUE(holds(forced[0], "Grenze erreicht oder überschritten: CPU-Zeit 9 s.")) << forced[0];
    const std::string path = instance.path(std::string(200, 'x'));  // a long token is kept whole
    const Outcome refused = instance.run({"validate", "sample", path}, german);
    EXPECT_TRUE(holds(refused.err, path)) << refused.err;
    EXPECT_TRUE(holds(refused.err, "2 (ENOENT, Datei oder Verzeichnis fehlt)")) << refused.err;
    EXPECT_TRUE(holds(instance.run({"stop", "sample", "0"}, german).err, "Kein Daemon überwacht"));
    const std::string umlaut = instance.config("authid müller setlimit cpu 1;");
    EXPECT_TRUE(holds(instance.run({"validate", "sample", umlaut}, german).err, "\"\\xC3\" ist"));
}

// Wherever a text is cut, no part of a character is left.
TEST(Messages, AreCutBetweenCharacters) {
    const TempInstance instance;
    const OwnCatalogs catalogs(instance);
    for (const std::string pad : {"", "x", "xx"}) {
        std::string text = pad;
        while (text.size() < 450)
            text += "€";
        catalogs.add("en", catalog("1005", text));
        const size_t kept = pad.size() + (399 - pad.size()) / 3 * 3;
        EXPECT_EQ(catalogs.usage_error("C"), "\nravelod: " + text.substr(0, kept) + "\n");
    }
}

TEST(Messages, MalformedCatalogsAreNone) {
    const TempInstance instance;
    const OwnCatalogs catalogs(instance);
    const std::string whole = catalog("1005", "text");
    for (size_t length = 0; length < whole.size(); length += 3) {
        catalogs.add("en", whole.substr(0, length));
        EXPECT_EQ(catalogs.usage_error("C"), "\nravelod: Message 1005: SAMPLE, 7\n") << length;
    }
    for (const size_t at : {8U, 12U, 16U, 28U, 32U, 36U, 40U}) {
        std::string damaged = whole;
        damaged[at + 3] = '\x7F';
        catalogs.add("en", damaged);
        EXPECT_EQ(catalogs.usage_error("C"), "\nravelod: Message 1005: SAMPLE, 7\n") << at;
    }
}

TEST(Messages, FormatsFromACatalogAreChecked) {
    const TempInstance instance;
    const OwnCatalogs catalogs(instance);
    catalogs.add("en", catalog("1031", "%s%s%s%n"));
    const auto refused = [&](const std::string &config) {
        return instance.run(
            {"validate", "sample", instance.config(config)},
            {.plain = false, .env = {{"LD_LIBRARY_PATH", instance.path("lib")}, {"LANG", "C"}}});
    };
    EXPECT_EQ(refused("\nnonsense;").err, "Message 1031: 2 NONSENSE\n");
    catalogs.add("en", catalog("1069", "%d %s"));
    EXPECT_TRUE(
        holds(refused("dbname sample; setlimit cpu 7;").out, "Message 1069: 7 0 0 0 0 0 0 10 0"));
    catalogs.add("en", catalog("1031", "%1 '%.4s'"));
    EXPECT_EQ(refused("\nnonsense;").err, "2 'NONS'\n");
}

}  // namespace
}  // namespace ravelo::test

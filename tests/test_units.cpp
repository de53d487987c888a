// What can't be seen well from outside: bounded texts, format checks, snapshot walking, ranking.
#include <algorithm>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

#include "daemon/base/files.h"
#include "daemon/base/sqlca.h"
#include "daemon/base/text.h"
#include "dbm/common/files.h"
#include "enforce/ranking.h"
#include "govern/snapshot_walk.h"
#include "log/format_check.h"
#include "tests/harness.h"

namespace ravelo::test {
namespace {

TEST(Sqlca, TemplateHasItsBytes) {
    sqlca ca;
    std::memset(&ca, 0xFF, sizeof(ca));
    set_init_sqlca(&ca);
    const std::string bytes(reinterpret_cast<const char *>(&ca), sizeof(ca));
    EXPECT_EQ(bytes.substr(0, 8), "SQLCA   ");
    EXPECT_EQ(ca.sqlcabc, 136);
    EXPECT_EQ(bytes.substr(88, 8), "RAVELOD ");
    EXPECT_EQ(bytes.substr(18, 70), std::string(70, ' '));
    EXPECT_EQ(bytes.substr(96, 24), std::string(24, '\0'));
    EXPECT_EQ(bytes.substr(120), std::string(16, ' '));
    set_init_sqlca(nullptr);
}

TEST(Text, IsCutNotOverrun) {
    char field[5] = "xxxx";
    EXPECT_TRUE(copy_text(field, "abcd"));
    EXPECT_FALSE(copy_text(field, "abcde"));
    EXPECT_STREQ(field, "abcd");
    EXPECT_TRUE(copy_text(field, ""));
    EXPECT_TRUE(append_text(field, "ab"));
    EXPECT_FALSE(append_text(field, "cde"));
    EXPECT_STREQ(field, "abcd");
    EXPECT_TRUE(copy_text(field, "a"));
    EXPECT_FALSE(append_text(field, "b€"));
    EXPECT_STREQ(field, "ab");
    EXPECT_TRUE(format_with_text(field, "%s", "a€€"));
    EXPECT_STREQ(field, "a€");
    char number[12];
    EXPECT_EQ(decimal(number, INT32_MIN), "-2147483648");
    EXPECT_EQ(hash_bucket(1U << 11U), (1009U << 11U & 0xF800U) >> 11U);
}

TEST(FormatCheck, TakesExactlyTheConversionsThatBelong) {
    struct Case {
        const char *format;
        conversion kind;
        size_t count;
        bool accepted;
    };
    for (const Case &one : {
             Case{"word '%s'", conversion::text, 1, true},
             Case{"%-10.20s 100%%", conversion::text, 1, true},
             Case{"no conversion", conversion::text, 1, false},
             Case{"%s %s", conversion::text, 1, false},
             Case{"%d", conversion::text, 1, false},
             Case{"%ls", conversion::text, 1, false},
             Case{"%n%s", conversion::text, 1, false},
             Case{"%1$s", conversion::text, 1, false},
             Case{"%*s", conversion::text, 1, false},
             Case{"%.*s", conversion::text, 1, false},
             Case{"%9999s", conversion::text, 1, false},
             Case{"%s %", conversion::text, 1, false},
             Case{"%", conversion::text, 1, false},
             Case{"%0s", conversion::text, 1, false},
             Case{"%#d%d%d%d%d%d%d%d%d", conversion::integer, 9, false},
             Case{"%u%d%d%d%d%d%d%d%d", conversion::integer, 9, false},
             Case{"%5d%-3i%+d% d%06d%.3d%d%d%d", conversion::integer, 9, true},
             Case{"%d%d%d%d%d%d%d%d", conversion::integer, 9, false},
             Case{"%ld%d%d%d%d%d%d%d%d", conversion::integer, 9, false},
             Case{"%d%d%d%d%d%d%d%d%s", conversion::integer, 9, false},
         }) {
        EXPECT_EQ(has_conversions(one.format, one.kind, one.count), one.accepted) << one.format;
    }
}

// With half a line of four bytes that is all there is room for, before nothing or another's line.
TEST(HalfALine, IsTakenBackUnlessAnothersFollows) {
    using writer = int (*)(int fd, std::string_view text);
    const writer daemons = [](int fd, std::string_view text) {
        return write_all(static_cast<uint32_t>(fd), text);
    };
    for (const writer write_line : {daemons, writer(dbm::write_line)})
        for (const std::string behind : {"", "1234another's\n"}) {
            const TempInstance instance;
            const std::string path = instance.write("file", "line" + behind);
            const int fd = open(path.c_str(), O_WRONLY | O_CLOEXEC);
            ASSERT_GE(fd, 0);
            EXPECT_EQ(lseek(fd, 4, SEEK_SET), 4);
            const auto before = std::signal(SIGXFSZ, SIG_IGN);
            rlimit usual{};
            EXPECT_EQ(getrlimit(RLIMIT_FSIZE, &usual), 0);
            const rlimit eight{8, usual.rlim_max};
            EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &eight), 0);
            const int code = write_line(fd, "half a line\n");
            EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &usual), 0);
            (void)std::signal(SIGXFSZ, before);
            EXPECT_NE(code, 0);
            EXPECT_EQ(close(fd), 0);
            EXPECT_EQ(instance.read("file"), behind.empty() ? "line" : "linehalfanother's\n");
        }
}

// A snapshot with records of the sizes given: an application, then its sub-records.
std::vector<unsigned char> snapshot_of(uint32_t application, const std::vector<uint32_t> &subs) {
    std::vector<unsigned char> bytes(sizeof(appl_snapshot));
    auto *const record = reinterpret_cast<appl_snapshot *>(bytes.data());
    record->size = application;
    record->rec_type = appl_record_type;
    for (const uint32_t size : subs) {
        std::vector<unsigned char> sub(std::max<size_t>(size, sizeof(snapshot_header)));
        auto *const header = reinterpret_cast<snapshot_header *>(sub.data());
        header->size = size;
        header->rec_type = l_record_type;
        bytes.insert(bytes.end(), sub.begin(), sub.begin() + size);
    }
    return bytes;
}

// Walks a heap copy of exactly these bytes, so that the sanitizer sees any byte read past them.
bool walks(const std::vector<unsigned char> &bytes, size_t length, int sub_records) {
    const auto exact = std::make_unique<unsigned char[]>(length);
    std::copy_n(bytes.begin(), length, exact.get());
    snapshot_bytes rest(exact.get(), length);
    const appl_snapshot *record = nullptr;
    if (!next_application(rest, &record))
        return false;
    for (int i = 0; i < sub_records; ++i) {
        const l_snapshot *statement = nullptr;
        if (!next_sub_record(rest, &statement) || statement == nullptr)
            return false;
    }
    EXPECT_TRUE(rest.empty());
    return true;
}

TEST(SnapshotWalk, NeverReadsPastTheEnd) {
    const std::vector<unsigned char> whole = snapshot_of(1112, {72, 72, 75});
    EXPECT_TRUE(walks(whole, whole.size(), 3));
    for (size_t length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(walks(whole, length, 3)) << length;
    EXPECT_FALSE(walks(snapshot_of(1111, {}), 1112, 0));
    EXPECT_FALSE(walks(snapshot_of(0, {}), 1112, 0));
    EXPECT_FALSE(walks(snapshot_of(1112, {71}), 1112 + 71, 1));
}

// Ranks members in the order of the chain; returns their priorities in that order.
std::vector<int32_t> ranked(std::vector<schedapp_struct> &members) {
    for (size_t i = 0; i < members.size(); ++i) {
        members[i].seen = 1;
        members[i].l_count = 1;
        members[i].priority = no_priority_yet;
        members[i].class_next = i + 1 < members.size() ? &members[i + 1] : nullptr;
    }
    schedule_class(nullptr, members.empty() ? nullptr : members.data());
    std::vector<int32_t> priorities(members.size());
    std::transform(members.begin(), members.end(), priorities.begin(),
                   [](const schedapp_struct &member) { return member.priority; });
    return priorities;
}

// The same by sorting: what the rankings mean as long as no list reaches its depth.
std::vector<int32_t> sorted(const std::vector<schedapp_struct> &members) {
    std::vector<size_t> order(members.size());
    std::vector<std::vector<size_t>> rankings;
    for (const auto key :
         {&schedapp_struct::ref_count, &schedapp_struct::age, &schedapp_struct::min_weight}) {
        for (size_t i = 0; i < order.size(); ++i)
            order[i] = order.size() - 1 - i;  // of equals the last of the chain ranks first
        std::stable_sort(order.begin(), order.end(), [&](size_t a, size_t b) {
            return key == &schedapp_struct::min_weight ? members[a].*key < members[b].*key
                                                       : members[a].*key > members[b].*key;
        });
        rankings.push_back(order);
    }
    std::vector<int32_t> priorities(members.size(), unranked_priority);
    for (const int32_t value : {0, 5, 10})
        for (const std::vector<size_t> &ranking : rankings) {
            const auto next = std::find_if(ranking.begin(), ranking.end(), [&](size_t i) {
                return priorities[i] == unranked_priority;
            });
            if (next != ranking.end())
                priorities[*next] = value;
        }
    return priorities;
}

TEST(Ranking, GivesWhatSortingGives) {
    std::mt19937 random(7);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same cases every time
    for (size_t count = 0; count < 60; ++count)
        for (const uint32_t spread : {1U, 3U, 1000U, 0xFFFFFFFFU}) {
            std::vector<schedapp_struct> members(count);
            for (schedapp_struct &member : members) {
                member.ref_count = static_cast<uint32_t>(random()) % spread;
                member.age = static_cast<uint32_t>(random()) % spread;
                member.min_weight = static_cast<uint32_t>(random()) % spread;
            }
            ASSERT_EQ(ranked(members), sorted(members)) << count << " spread " << spread;
        }
}

TEST(Ranking, LeavesOutMembersThatRest) {
    std::vector<schedapp_struct> members(3);
    for (schedapp_struct &member : members)
        member.seen = member.l_count = 1;
    members[1].l_count = 0;
    members[1].priority = 0;
    members[2].seen = 0;
    members[2].priority = 5;
    members[0].class_next = &members[1];
    members[1].class_next = &members[2];
    schedule_class(nullptr, members.data());
    EXPECT_EQ(members[0].priority, 0);
    EXPECT_EQ(members[1].old_priority, 0);
    EXPECT_EQ(members[2].priority, 5);
}

}  // namespace
}  // namespace ravelo::test

// The configuration language: what is refused, with which message, where, and on which line.
#include <gtest/gtest.h>

#include "tests/harness.h"

namespace ravelo::test {
namespace {

const std::string db = "dbname sample;";
const std::string rule = "setlimit cpu 1;";

struct Refused {
    std::string config;
    std::string record;  // the one ERROR record
    int status = 249;    // -7
};

void expect_refused(const std::vector<Refused> &cases, const std::string &faults = "") {
    for (const Refused &one : cases) {
        SCOPED_TRACE(one.config);
        const TempInstance instance;
        instance.recording(Recording().snapshot(1000));
        const std::string rules = instance.config(one.config);
        const Outcome outcome =
            instance.run({"start", "sample", "0", rules, instance.path("log")}, {.faults = faults});
        EXPECT_EQ(outcome.status, one.status);
        EXPECT_EQ(of_type(instance.log(), "ERROR"), (Lines{"ERROR " + one.record}));
        EXPECT_FALSE(std::filesystem::exists(instance.status_file()));
    }
}

std::string repeat(const std::string &text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}

TEST(Tokenizer, RefusesWhatIsNoToken) {
    const std::string x255 = repeat("x", 255);
    expect_refused({
        {db + "\n*", "(16050) #1041|*|2"},
        {"\n\n}", "(16050) #1041|}|3"},
        {"a\xC3\xA4 b", "(16050) #1041|\xC3|1"},
        {std::string("\n\x01", 2), "(16050) #1041| |2"},
        {std::string("\n\0", 2), "(16050) #1041||2"},
        {x255 + "x", "(16010) #1036|1|" + x255},
        {x255 + "x ;", "(16010) #1036|1|" + x255},
        {"\n{ a\nb", "(16031) #1038|2"},
        {"debug\n 'a\nb", "(16038) #1038|2"},
        {db + "desc '", "(16038) #1038|1"},
        {db + "desc '" + x255 + "y' " + rule, "(16035) #1039|1|" + x255},
        {db + "desc '\n" + repeat("x", 255) + "'" + rule, "(16035) #1039|2| " + repeat("x", 254)},
        {";", "(2070) #1031|1|;"},
        {x255 + " ", "(2070) #1031|1|" + repeat("X", 255)},
        {"{a\nb}de{c}bugs;", "(2070) #1031|2|DEBUGS"},
        {"'%s%n%d' ;", "(2070) #1031|1|%S%N%D"},
    });
}

TEST(Reader, RefusesGlobalStatements) {
    expect_refused({
        {"interval 5; interval 6;", "(2015) #1026|interval|1"},
        {"interval 0;", "(2020) #1027|interval|0|1"},
        {"interval -5;", "(2020) #1027|interval|-5|1"},
        {"interval\n65536;", "(2020) #1027|interval|65536|2"},
        {"interval 4294967297;", "(2020) #1027|interval|4294967297|1"},
        {"interval 5 6;", "(2030) #1028|interval|6|1"},
        {"debug 1 Two;", "(2030) #1028|debug|Two|1"},
        {db + db, "(2035) #1026|dbname|1"},
        {"dbname ninechars;", "(2040) #1029|dbname|NINECHARS|1"},
        {"dbname other;", "(2050) #1030|OTHER|SAMPLE"},
        {"dbname sample account ", "(2060) #1028|dbname|account|1"},
        {"account 5; account 5;", "(2063) #1026|account|1"},
        {"account 0;", "(2065) #1027|account|0|1"},
        {"account 1441;", "(2065) #1027|account|1441|1"},
        {"account 5 ,", "(2067) #1028|account|,|1"},
        {"use 5;", "(2070) #1031|1|USE"},
        {rule, "(2080) #1032"},
        {db, "(2090) #1033"},
        {db + "account 1;", "(2095) #1034"},
        {db + "interval 61; account 1;" + rule, "(2095) #1034"},
        {"interval ", "(2100) #1035"},
        {"interval 5\n", "(2100) #1035"},
        {db + "debug ", "(2100) #1035"},
    });
}

TEST(Reader, RefusesSelectionClauses) {
    const std::string d = db + "\n";
    const std::string x21 = repeat("x", 21);
    expect_refused({
        {d + "desc a desc b " + rule, "(17010) #1045|DESC|desc|2"},
        {d + "desc ;", "(17020) #1035"},
        {d + "desc ", "(17020) #1035"},
        {d + "time 24:00 1:00 " + rule, "(5010) #1027|time|24:00|2"},
        {d + "time 8.30 9:00 " + rule, "(5010) #1027|time|8.30|2"},
        {d + "time 12 9:00 " + rule, "(5010) #1027|time|12|2"},
        {d + "time 99999999999999999999:0 9:00 " + rule,
         "(5010) #1027|time|99999999999999999999:0|2"},
        {d + "time -1:00 9:00 " + rule, "(5010) #1027|time|-1:00|2"},
        {d + "time 8:-5 9:00 " + rule, "(5010) #1027|time|8:-5|2"},
        {d + "time 8:00 12:60 " + rule, "(5020) #1027|time|12:60|2"},
        {d + "time 8:00 08:00 " + rule, "(5030) #1048|2"},
        {d + "time 8:00 9:00 time " + rule, "(5040) #1045|TIME|time|2"},
        {d + "time 8:00", "(5050) #1035"},
        {d + "time 8:00 9:00", "(5050) #1035"},
        {d + "authid a,; " + rule, "(6010) #1046|;|authid|2"},
        {d + "authid , " + rule, "(6010) #1046|,|authid|2"},
        {d + "authid " + x21 + " " + rule, "(6020) #1029|authid|" + repeat("X", 21) + "|2"},
        {d + "authid a;", "(6040) #1045|;|authid|2"},
        {d + "authid a, setlimit cpu 1;", "(6040) #1045|CPU|authid|2"},
        {d + "authid a time 8:00 9:00 " + rule, "(6040) #1045|TIME|authid|2"},
        {d + "authid a,", "(6050) #1035"},
        {d + "applname ;", "(7010) #1046|;|applname|2"},
        {d + "applname a authid b " + rule, "(7040) #1045|AUTHID|applname|2"},
        {d + "applname a", "(7050) #1035"},
    });
}

TEST(Reader, RefusesLimitsAndActions) {
    const std::string d = db + "\nsetlimit ";
    expect_refused({
        {d + "cpu 0;", "(8010) #1027|cpu|0|2"},
        {d + "locks -2;", "(8020) #1027|locks|-2|2"},
        {d + "rowssel x;", "(8030) #1027|rowssel|x|2"},
        {d + "rowsread 2147483648;", "(8035) #1027|rowsread|2147483648|2"},
        {d + "idle 4294967295;", "(8040) #1027|idle|4294967295|2"},
        {d + "uowtime ;", "(8045) #1027|uowtime|;|2"},
        {d + ";", "(8050) #1047|;|setlimit|2"},
        {d + "action force;", "(8050) #1047|ACTION|setlimit|2"},
        {d + "cpu 1 cpu 2;", "(8050) #1047|CPU|setlimit|2"},
        {d + "cpu 1 action priority 21;", "(8070) #1027|priority|21|2"},
        {d + "cpu 1 action priority -21;", "(8070) #1027|priority|-21|2"},
        {d + "cpu 1 action priority 9999999999;", "(8070) #1027|priority|9999999999|2"},
        {d + "cpu 1 action kill;", "(8080) #1047|KILL|action|2"},
        {d + "cpu 1 action force action force;", "(8090) #1028|setlimit|action|2"},
        {d + "cpu 1 action schedule now;", "(8090) #1028|setlimit|NOW|2"},
        {d + "cpu 1 action schedule class x;", "(8090) #1028|setlimit|x|2"},
        {d + "cpu", "(8100) #1035"},
        {d + "cpu 1 action schedule", "(8100) #1035"},
    });
}

TEST(Validate, ListsTheRulesAsUnderstood) {
    const TempInstance instance;
    const std::string rules = instance.config(
        "DbName Sample; debug;\n"
        "desc \"two  words\" time 23:00 02:05 AUTHID joe , 'a b'\n"
        " applname Tool,averyveryverylongapplication\n"
        " setlimit uowtime 6 idle 5 rowsread 4 rowssel 3 locks -1 cpu 10abc action priority -20;"
        "setlimit cpu 1 action force; setlimit locks 1 action schedule class;\n"
        "setlimit locks 1 Action Schedule; setlimit cpu 1 action priority word;" +
        rule);
    const Outcome listed = instance.run({"validate", "sample", rules});
    EXPECT_EQ(listed.status, 0);
    const std::string values = "#3 = 0 #4 = 0, #1069|";
    const std::string end = "#5 \n#6 \n#2\n\n";
    EXPECT_EQ(listed.out,
              "\n#1\n#2\n#1068|two  words\n#3 = 2300 #4 = 205, #1069|10|-1|3|4|6|5|0|-20|0"
              "#5 JOE A B \n#6 Tool averyveryverylongapp \n#2\n\n"
              "#1068|\n" +
                  values + "1|0|0|0|0|0|1|0|0" + end + "#1068|\n" + values + "0|1|0|0|0|0|0|0|1" +
                  end + "#1068|\n" + values + "0|1|0|0|0|0|0|0|2" + end + "#1068|\n" + values +
                  "1|0|0|0|0|0|0|0|0" + end + "#1068|\n" + values + "1|0|0|0|0|0|0|10|0" + end);
    EXPECT_FALSE(std::filesystem::exists(instance.path("tmp")));
    const Outcome empty = instance.run({"validate", "Sample", instance.config(db + "account 5;")});
    EXPECT_EQ(empty.out, "\n#1\n#2\n");
}

TEST(Validate, ReportsOnStandardErrorOnly) {
    const TempInstance instance;
    const Outcome refused = instance.run({"validate", "sample", instance.config("\nwho\x01knows")});
    EXPECT_EQ(refused.status, 249);
    EXPECT_EQ(refused.err, "#1041| |2\n");
    EXPECT_EQ(refused.out, "");
}

TEST(Validate, ReadsWellWithTheRealTexts) {
    const TempInstance instance;
    const std::string rules = instance.config(db + "desc night setlimit cpu 60 action force;");
    const Outcome listed = instance.run({"validate", "sample", rules}, {.plain = false});
    EXPECT_NE(listed.out.find("night"), std::string::npos);
    EXPECT_NE(listed.out.find("cpu = 60"), std::string::npos) << listed.out;
    EXPECT_EQ(listed.out.find('%'), std::string::npos) << listed.out;
}

}  // namespace
}  // namespace ravelo::test

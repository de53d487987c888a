// Plays the scenarios of tests/scenarios, whose README says how they are written: what is recorded,
// what fails, and what must be seen of it.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <map>
#include <regex>
#include <sstream>

#include "tests/harness.h"

namespace ravelo::test {
namespace {

using Scenario = std::map<std::string, Lines>;

std::vector<Scenario> read_scenarios(const std::string &name) {
    std::ifstream file(std::string(RAVELO_SCENARIOS "/") + name);
    std::vector<Scenario> all;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string key, value;
        words >> key >> std::ws;
        std::getline(words, value);
        if (key.empty() || key[0] == '#')
            continue;
        if (key == "scenario")
            all.emplace_back();
        if (key == "snapshot" || key == "line")
            value.insert(0, key + " ");
        all.back()[key == "snapshot" || key == "line" ? "recording" : key].push_back(value);
    }
    return all;
}

std::string only(const Scenario &one, const std::string &key, const std::string &otherwise = "") {
    const auto found = one.find(key);
    return found == one.end() ? otherwise : found->second.at(0);
}

Lines all_of(const Scenario &one, const std::string &key) {
    const auto found = one.find(key);
    return found == one.end() ? Lines{} : found->second;
}

std::string joined(const Lines &lines, const std::string &between) {
    std::string all;
    for (const std::string &line : lines)
        all += (all.empty() ? "" : between) + line;
    return all;
}

uint32_t number(const std::string &text, uint32_t otherwise) {
    return text.empty() ? otherwise : static_cast<uint32_t>(std::stoul(text.substr(1)));
}

void add_application(Recording &played, const std::string &text) {
    static const std::regex form(
        "([0-9]+)((?:/[0-9]+(?:@[0-9]+)?)*)(![0-9]+)?(>[0-9]+)?(=[0-9]+)?");
    std::smatch part;
    ASSERT_TRUE(std::regex_match(text, part, form)) << text;
    const std::string agent = part[1];
    played.app({.agent_id = number("#" + agent, 0),
                .applname = "tool",
                .appl_id = "id" + agent,
                .authid = "JOE",
                .cpu = number(part[5], 60),
                .locks = number(part[3], 0),
                .ref = number(part[4], 0)});
    const std::string statements = part[2];
    static const std::regex statement("(/[0-9]+)(@[0-9]+)?");
    for (std::sregex_iterator at(statements.begin(), statements.end(), statement), end; at != end;
         ++at)
        played.statement(number((*at)[1], 0), number((*at)[2], 900));
}

Recording recording_of(const Scenario &one) {
    Recording played;
    for (const std::string &line : all_of(one, "recording")) {
        std::istringstream words(line);
        std::string word;
        words >> word;
        if (word == "line") {
            played.line(line.substr(5));
            continue;
        }
        words >> word;
        played.snapshot(static_cast<uint32_t>(std::stoul(word)));
        while (words >> word)
            add_application(played, word);
    }
    return played;
}

// Runs the commands of a key in the instance's directory.
bool run_all(const Scenario &one, const std::string &key, const TempInstance &instance) {
    const std::string commands = joined(all_of(one, key), " && ");
    const std::string script = "cd '" + instance.path("") + "' && { " + commands + "; }";
    // NOLINTNEXTLINE(cert-env33-c): that a shell runs them is the point
    return commands.empty() || std::system(script.c_str()) == 0;
}

// The journal's calls; a priority call without its name.
Lines calls_of(const TempInstance &instance) {
    Lines calls = instance.calls();
    for (std::string &call : calls)
        if (call.starts_with("priority "))
            call.erase(0, 9);
    return calls;
}

void play(const Scenario &one) {
    SCOPED_TRACE(only(one, "scenario"));
    const TempInstance instance;
    const std::string head = "dbname sample; interval 10; ";
    instance.config(head + joined(all_of(one, "rules"), "\n"));
    instance.recording(recording_of(one));
    if (!run_all(one, "needs", instance)) {
        std::cout << "left out: " << only(one, "scenario") << "\n";
        return;
    }
    const std::string node = only(one, "node", "0");
    Daemon daemon(
        instance,
        {.faults = only(one, "faults"), .node = node, .env = {{"TZ", only(one, "zone", "UTC")}}},
        {"start", "sample", node, instance.path("rules.cfg"),
         instance.path(only(one, "log", "log"))});
    const int passes = std::stoi(only(one, "passes", "0"));
    for (int i = 1; i <= passes; ++i) {
        EXPECT_TRUE(daemon.pass()) << i;
        EXPECT_TRUE(run_all(one, "after" + std::to_string(i), instance));
    }
    if (one.contains("reread"))
        instance.config(head + only(one, "reread"));
    const int status = std::stoi(only(one, "status", "0"));
    const bool stops = status == 0 || one.contains("stop");
    const Outcome &outcome = stops ? daemon.stop() : daemon.wait_exit();
    EXPECT_EQ(outcome.status, status) << outcome.err;
    (void)instance.write("err", outcome.err);
    EXPECT_TRUE(run_all(one, "check", instance)) << outcome.err << instance.read("log");
    EXPECT_EQ(joined(calls_of(instance), ", "), only(one, "calls"));
    Lines errors, others;
    for (std::string record : of_type(instance.log())) {
        if (const size_t at = record.find(instance.path("")); at != std::string::npos)
            record.erase(at, instance.path("").size());
        if (record.starts_with("ERROR") || record.starts_with("WARNING"))
            errors.push_back(record);
        else if (!std::regex_search(record, std::regex("^(START|READCFG|STOP)")))
            others.push_back(record);
    }
    EXPECT_EQ(errors, all_of(one, "error"));
    if (one.contains("record")) {
        EXPECT_EQ(others, all_of(one, "record"));
    }
}

class ScenarioFile : public testing::TestWithParam<const char *> {};

TEST_P(ScenarioFile, Plays) {
    for (const Scenario &one : read_scenarios(GetParam()))
        play(one);
}

INSTANTIATE_TEST_SUITE_P(Every, ScenarioFile,
                         testing::Values("scheduling.txt", "failures.txt", "monitor.txt",
                                         "trace.txt", "priorities.txt", "world.txt"));

TEST(Scenario, WhatAReReadKeepsAndForgets) {
    const TempInstance instance;
    const std::string head = "dbname sample; interval 10; ";
    instance.config(head + "debug 1; account 1; setlimit uowtime 5 idle 5;");
    Recording played;
    // The switches would fail from the second pass on, if anyone asked.
    played.line("result operation=switches call=2- rc=9");
    for (const uint32_t time : {1000U, 1060U, 1120U})
        played.snapshot(time).app({.agent_id = 7, .cpu = time});
    instance.recording(played);
    Daemon daemon(instance);
    ASSERT_TRUE(daemon.pass());
    instance.config(head + "setlimit cpu 60000;");
    ASSERT_TRUE(daemon.passes(2));
    EXPECT_EQ(daemon.stop().status, 0);
    EXPECT_EQ(of_type(instance.log(), "ACCOUNT").size(), 1U);
    const Lines debug = of_type(instance.log(), "DEBUG");  // the level stays
    EXPECT_EQ(std::count(debug.begin(), debug.end(), "DEBUG #1066|10"), 3);
}

}  // namespace
}  // namespace ravelo::test

#include "daemon/command_line.h"

#include <array>
#include <cstdlib>
#include <string_view>

#include "config/read_config.h"
#include "config/trace_config.h"
#include "daemon/attach.h"
#include "daemon/base/files.h"
#include "daemon/base/result.h"
#include "daemon/base/text.h"
#include "daemon/start.h"
#include "daemon/status_file.h"
#include "log/report.h"

namespace ravelo {
namespace {

using word_list = std::span<const char *const>;

constexpr size_t longest_command = 8;
constexpr size_t longest_node_text = node_text_size - 1;

constexpr std::string_view full_usage =
    "\n"
    "Usage: ravelod start    <Database> <NodeNum> <ConfigFile> <LogFile>\n"
    "       ravelod stop     <Database> <NodeNum>\n"
    "       ravelod validate <Database> <ConfigFile>\n";

int32_t show_usage(std::string_view text) {
    write_standard_error(text);
    return result::usage;
}

int32_t refuse_argument(glob_struct *glob, message number, std::string_view argument) {
    fail_stderr(glob, number, {argument});
    return result::usage;
}

// Copies an argument into its field. Results: 0; -1 after reporting that it is too long.
int32_t copy_argument(glob_struct *glob, std::span<char> field, const char *argument,
                      message too_long) {
    return copy_text(field, argument) ? result::ok : refuse_argument(glob, too_long, argument);
}

int32_t copy_database(glob_struct *glob, const char *argument) {
    const int32_t copied =
        copy_argument(glob, glob->db_name, argument, message::database_name_long);
    if (copied == result::ok)
        dbm_to_upper(static_cast<int>(text_of(glob->db_name).size()), dbm_to_upper_mode,
                     glob->db_name);
    return copied;
}

// The node argument as text, shortened to 4 characters when it has more than 5.
void copy_node_text(char (&node_text)[node_text_size], const char *argument) {
    const std::string_view text = argument;
    cut_text(node_text, text.size() > longest_node_text ? text.substr(0, 4) : text);
}

uint16_t node_number(const char *node_text) {
    return static_cast<uint16_t>(std::strtol(node_text, nullptr, 10) & 0xFFFF);
}

int32_t run_validate(glob_struct *glob, word_list words) {
    glob->validate_mode = 1;
    if (words.size() != 4)
        return show_usage("\nUsage: ravelod validate <Database> <ConfigFile>\n");
    int32_t outcome = copy_database(glob, words[2]);
    if (outcome == result::ok)
        outcome = copy_argument(glob, glob->cfg_file_name, words[3], message::config_name_long);
    if (outcome == result::ok)
        outcome = read_config(glob);
    if (outcome == result::ok)
        (void)trace_config(glob);  // the listing is on standard output, which is not checked
    return outcome;
}

int32_t run_stop(glob_struct *glob, word_list words) {
    if (words.size() != 4)
        return show_usage("\nUsage: ravelod stop <Database> <NodeNum>\n");
    int32_t outcome = copy_database(glob, words[2]);
    char node_text[node_text_size];
    copy_node_text(node_text, words[3]);
    if (outcome == result::ok)
        outcome = get_status_filenames(glob, node_text);
    return outcome == result::ok ? request_stop(glob, node_text) : outcome;
}

int32_t run_start(glob_struct *glob, word_list words) {
    if (words.size() != 6)
        return show_usage("\nUsage: ravelod start <Database> <NodeNum> <ConfigFile> <LogFile>\n");
    int32_t outcome = copy_database(glob, words[2]);
    char node_text[node_text_size];
    copy_node_text(node_text, words[3]);
    glob->node_num = node_number(node_text);
    if (outcome == result::ok)
        outcome = copy_argument(glob, glob->cfg_file_name, words[4], message::config_name_long);
    if (outcome == result::ok)
        outcome = copy_argument(glob, glob->log_file_name, words[5], message::log_name_long);
    return outcome == result::ok ? start(glob, node_text) : outcome;
}

struct command {
    std::string_view word;
    int32_t (*run)(glob_struct *, word_list);
};

constexpr std::array<command, 3> commands{
    {{"START", run_start}, {"STOP", run_stop}, {"VALIDATE", run_validate}}};

// The instance to attach to: the first word, shortened to 8 characters when it has more than 9.
void copy_instance_name(glob_struct *glob, word_list words) {
    const std::string_view name = words.empty() ? "" : words[0];
    cut_text(glob->instance_name,
             name.size() >= sizeof(glob->instance_name) ? name.substr(0, 8) : name);
}

}  // namespace

int32_t run_command(glob_struct *glob, word_list words) {
    init_glob(glob);
    copy_instance_name(glob, words);
    const int32_t ready = set_up_library(glob);
    if (ready != result::ok)
        return ready;
    char word[longest_command + 1];
    if (words.size() < 2 || !copy_text(word, words[1]))
        return show_usage(full_usage);
    dbm_to_upper(static_cast<int>(text_of(word).size()), dbm_to_upper_mode, word);
    for (const command &candidate : commands)
        if (candidate.word == word)
            return candidate.run(glob, words);
    return show_usage(full_usage);
}

}  // namespace ravelo

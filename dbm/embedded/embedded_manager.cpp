#include "dbm/embedded/embedded_manager.h"

#include <array>
#include <dirent.h>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>

#include "dbm/codes.h"
#include "dbm/common/recording.h"
#include "dbm/common/text.h"
#include "dbm/instance.h"
#include "dbm/session.h"

namespace dbm::embedded {

namespace {

constexpr std::string_view recording_suffix = ".recording";

// Everything the manager knows. Lives as long as the process; detaching gives back what belongs to
// the attachment.
struct player {
    recording tape;
    call_counts calls = {};
    bool searched = false;  // the only recording was looked for, in this directory for this node
    std::string searched_directory;
    std::optional<uint16_t> searched_node;
    std::array<uint32_t, dbm_switch_groups> switches = {};
    std::unordered_multimap<uint32_t, std::string> forced;  // agent id, application id
};

player &the_player() {
    static player only;
    return only;
}

struct close_directory {
    void operator()(DIR *directory) const { (void)closedir(directory); }
};

// Whether name is DATABASE.<node>.recording; without a node, of any node.
bool is_recording(std::string_view name, std::optional<uint16_t> node) {
    if (!name.ends_with(recording_suffix))
        return false;
    name.remove_suffix(recording_suffix.size());
    const size_t dot = name.rfind('.');
    uint16_t found = 0;
    return dot != std::string_view::npos && dot > 0 && parse_number(name.substr(dot + 1), found) &&
           (!node || *node == found);
}

// The path of the instance's only recording for the node, without one for any node; empty when
// there is none or more than one.
std::string only_recording(const instance &where, std::optional<uint16_t> node) {
    const std::unique_ptr<DIR, close_directory> directory(opendir(where.directory.c_str()));
    std::string found;
    if (directory == nullptr)
        return found;
    while (const dirent *const entry = readdir(directory.get())) {
        if (!is_recording(entry->d_name, node))
            continue;
        if (!found.empty())
            return {};
        found = instance_file(where, entry->d_name);
    }
    return found;
}

std::string recording_of(const std::string &database, uint16_t node) {
    std::string name = database;
    name += '.';
    name += std::to_string(node);
    name += recording_suffix;
    return instance_file(current_instance(), name);
}

void open_tape(player &play, const std::string &path, const std::string &database) {
    (void)open_recording(play.tape, path, database);  // tape.failure keeps the answer
    for (script_line &line : play.tape.script) {
        if (!line.agent_id)
            line.calls = play.calls[static_cast<size_t>(line.which)];
    }
}

// Has the recording open that the calls are about, as far as that can be known: the database's, or
// before a database is named the only one there is.
void choose_recording(player &play) {
    const session &connection = current_session();
    std::string path;
    if (!connection.database.empty()) {
        path = recording_of(connection.database, connection.node.value_or(0));
    } else {
        const std::string &directory = current_instance().directory;
        if (play.searched && play.searched_node == connection.node &&
            play.searched_directory == directory)
            return;
        play.searched_directory = directory;
        play.searched_node = connection.node;
        play.searched = true;
        path = only_recording(current_instance(), connection.node);
    }
    if (path == play.tape.path)
        return;
    play.tape = recording{};
    if (!path.empty())
        open_tape(play, path, connection.database);
}

outcome attach() {
    player &play = the_player();
    play.tape = recording{};
    play.forced.clear();
    play.switches = {};
    const std::string path = only_recording(current_instance(), current_session().node.value_or(0));
    if (path.empty())
        return {};  // which recording is played shows with the first snapshot
    open_tape(play, path, "");
    outcome result = play.tape.failure;
    result.rc = result.sqlcode != 0 ? -1 : 0;
    return result;
}

outcome detach() {
    player &play = the_player();
    rewind_recording(play.tape);
    play.forced.clear();
    return {};
}

outcome set_switches(std::span<switch_group, dbm_switch_groups> groups) {
    player &play = the_player();
    for (size_t i = 0; i < groups.size(); ++i) {
        if (groups[i].input_state == dbm_switch_on)
            play.switches[i] = dbm_switch_on;
        groups[i].output_state = play.switches[i];
    }
    return {};
}

bool is_forced(const player &play, const agent &who) {
    const auto [begin, end] = play.forced.equal_range(who.agent_id);
    for (auto each = begin; each != end; ++each) {
        if (each->second == padded_text(who.appl_id))
            return true;
    }
    return false;
}

void build_snapshot(const player &play, snapshot_builder &builder) {
    const played_snapshot &snapshot = play.tape.snapshot;
    builder.snap_time = snapshot.time;
    builder.claimed_records = snapshot.num_records;
    for (size_t i = 0; i < dbm_summary_groups; ++i)
        builder.switches[i] = snapshot.switches ? (*snapshot.switches)[i] : play.switches[i];
    builder.agents.reserve(snapshot.applications.size());
    size_t next = 0;
    for (const played_application &each : snapshot.applications) {
        const size_t first = next;
        next += each.subrecs;
        if (is_forced(play, each.reported.who))
            continue;
        add_application(builder, each.reported, each.claimed_subrecs.value_or(each.subrecs),
                        each.claims);
        for (size_t i = first; i < next; ++i) {
            const played_subrecord &sub = snapshot.subrecords[i];
            if (sub.statement) {
                add_statement(builder, sub.sched_weight, sub.l_start_time, sub.claims);
            } else {
                add_other(builder, sub.claims);
            }
        }
    }
}

outcome list(const std::string &database, snapshot_builder &builder) {
    player &play = the_player();
    const std::string path = recording_of(database, current_session().node.value_or(0));
    if (path != play.tape.path)
        open_tape(play, path, database);
    outcome result = load_snapshot(play.tape, database);
    if (succeeded(result))
        build_snapshot(play, builder);
    return result;
}

void delivered() {
    the_player().tape.loaded = false;
}

outcome force(const agent &target) {
    player &play = the_player();
    if (is_forced(play, target))
        return answered(sql::agent_already_gone, {std::to_string(target.agent_id)});
    play.forced.emplace(target.agent_id, padded_text(target.appl_id));
    return {};
}

// A recording can't run slower or faster: the journal is where a priority shows. Like a force it
// lasts as long as the attachment: the next one plays the recording anew, and what a killed daemon
// has changed is gone with it.
outcome set_priority(const agent &target, int) {
    if (is_forced(the_player(), target))
        return answered(sql::agent_gone, {std::to_string(target.agent_id)});
    return {};
}

const scripted_answer *scripted(operation which, uint32_t agent_id) {
    player &play = the_player();
    if (which == operation::init && !current_session().attached)
        play = player{};  // the process begins anew, and so does its count of calls
    choose_recording(play);
    ++play.calls[static_cast<size_t>(which)];
    return play_call(play.tape.script, which, agent_id);
}

}  // namespace

const manager shape = {
    .name = "embedded",
    .attach = attach,
    .detach = detach,
    .switches = set_switches,
    .list = list,
    .delivered = delivered,
    .force = force,
    .set_priority = set_priority,
    .scripted = scripted,
};

}  // namespace dbm::embedded

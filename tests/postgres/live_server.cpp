#include "tests/postgres/live_server.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <linux/capability.h>
#include <sstream>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace ravelo::test {
namespace {

std::string first_line(const std::string &path) {
    std::ifstream file(path);
    std::string line;
    (void)std::getline(file, line);
    return line;
}

std::string first_value(PGresult *result) {
    const bool has_one = PQntuples(result) > 0 && PQnfields(result) > 0;
    std::string value = has_one ? PQgetvalue(result, 0, 0) : "";
    PQclear(result);
    return value;
}

std::string connection_text(const std::string &role, const std::string &name) {
    return "host=" + LiveServer::get()->socket() + " dbname=sample user=" + role +
           " application_name='" + name + "'";
}

}  // namespace

const std::string LiveServer::programs = RAVELO_SERVER_PROGRAMS;

bool shell(const std::string &command) {
    // NOLINTNEXTLINE(cert-env33-c): every word is the tests' own
    return std::system(command.c_str()) == 0;
}

bool eventually(const std::function<bool()> &holds) {
    for (int i = 0; i < 1500; ++i) {
        if (holds())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

LiveServer *LiveServer::get() {
    static const std::unique_ptr<LiveServer> only(
        access((programs + "/initdb").c_str(), X_OK) == 0 ? new LiveServer : nullptr);
    return only.get();
}

// Of private_server.sh; what: its words after the folders.
std::string LiveServer::command(const std::string &what) const {
    return "exec '" RAVELO_PRIVATE_SERVER "' '" + dir_ + "' '" + programs + "' " + what;
}

LiveServer::LiveServer() {
    std::string name = std::filesystem::temp_directory_path() / "ravelo-pg-XXXXXX";
    dir_ = mkdtemp(name.data());
    (void)setenv("TMPDIR", dir_.c_str(), 1);  // instances go with the server
    (void)shell(command("make ravelo plain app boss postgres nobody leaver"));
    // The server's user may not be let into the folder that it was built in.
    std::error_code absent;
    std::filesystem::copy_file(RAVELO_EXTENSION, extension(), absent);
    if (!start())
        return;
    for (const char *const statement :
         {"create role ravelo login", "grant pg_read_all_stats, pg_signal_backend to ravelo",
          "create role plain login", "create role app login", "create role boss login"})
        (void)admin(statement);
    (void)admin("create database sample");
}

LiveServer::~LiveServer() {
    stop();
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
}

bool LiveServer::start(const std::string &more) {
    pid_ = fork();
    if (pid_ == 0) {
        (void)execl("/bin/sh", "sh", "-c", command("run " + more).c_str(), nullptr);
        _exit(127);
    }
    const std::string where = "host=" + socket() + " user=postgres dbname=postgres";
    bool answers = false;
    (void)eventually([&] {
        answers = PQping(where.c_str()) == PQPING_OK;
        return answers || waitpid(pid_, nullptr, WNOHANG) != 0;
    });
    if (!answers) {
        (void)shell("tail '" + dir_ + "/log'");
        stop();
    }
    EXPECT_TRUE(answers) << "the server does not start; this is the end of its log";
    return answers;
}

void LiveServer::stop() {
    if (pid_ != 0 && kill(pid_, SIGINT) == 0)
        (void)waitpid(pid_, nullptr, 0);
    pid_ = 0;
}

std::string LiveServer::admin(const std::string &sql) {
    PGconn *const peer =
        PQconnectdb(("host=" + socket() + " user=postgres dbname=postgres").c_str());
    PGresult *const result = PQexec(peer, sql.c_str());
    EXPECT_LT(PQresultStatus(result), PGRES_BAD_RESPONSE) << sql << PQerrorMessage(peer);
    std::string value = first_value(result);
    PQfinish(peer);
    return value;
}

Session::Session(const std::string &name, const std::string &role)
    : connection_(PQconnectdb(connection_text(role, name).c_str()), PQfinish),
      pid_(PQbackendPID(connection_.get())) {
    EXPECT_EQ(PQstatus(connection_.get()), CONNECTION_OK) << PQerrorMessage(connection_.get());
}

std::string Session::run(const std::string &sql) {
    return first_value(PQexec(connection_.get(), sql.c_str()));
}

Session &Session::send(const std::string &sql) {
    EXPECT_EQ(PQsendQuery(connection_.get(), sql.c_str()), 1);
    return *this;
}

bool Session::ended() const {
    return nice_values(pid_).own == -99;
}

Library::Library(const TempInstance &instance, bool reader) {
    (void)setenv("DBM_INSTANCE", std::filesystem::path(instance.path("log")).parent_path().c_str(),
                 1);
    EXPECT_EQ(dbm_init_process(dbm_library_version), 0);
    char path[dbm_path_room];
    // What a daemon asks for before it attaches.
    EXPECT_EQ(reader ? 0 : dbm_instance_path(dbm_current_instance, path), 0);
}

Library::~Library() {
    EXPECT_EQ(dbm_detach(&ca), 0) << message();
}

int Library::attach() {
    return dbm_attach("ravelod", nullptr, nullptr, &ca) == 0 ? 0 : ca.sqlcode;
}

int Library::snapshot() {
    const snapshot_request request = {dbm_request_objects, 0, dbm_all_applications, "SAMPLE", {}};
    uint32_t size = 0;
    do {
        if (dbm_snapshot_size(dbm_monitor_version, nullptr, &request, &size, &ca) != 0)
            return -1;
        if (ca.sqlcode > 0)
            warnings.push_back(ca.sqlcode);
    } while (ca.sqlcode > 0);
    if (ca.sqlcode != 0)
        return ca.sqlcode;
    buffer_.assign(size, 0);
    summary = {};
    if (size == 0)
        return 0;
    EXPECT_EQ(
        dbm_snapshot(dbm_monitor_version, nullptr, &request, size, buffer_.data(), &summary, &ca),
        0);
    return ca.sqlcode;
}

const appl_snapshot *Library::find(int pid) const {
    const char *at = buffer_.data();
    for (uint32_t i = 0; i < summary.num_records; ++i) {
        const auto *const record = reinterpret_cast<const appl_snapshot *>(at);
        if (record->agent_id == static_cast<uint32_t>(pid))
            return record;
        at += record->size + record->subrec_count * sizeof(l_snapshot);
    }
    return nullptr;
}

int Library::force(int pid) {
    const auto agent = static_cast<uint32_t>(pid);
    (void)dbm_force_application(dbm_force_count, &agent, dbm_force_mode, &ca);
    return ca.sqlcode;
}

int Library::priority(int pid, int value) {
    (void)dbm_set_agent_priority(static_cast<uint32_t>(pid), value, dbm_priority_mode, &ca);
    return ca.sqlcode;
}

std::string Library::message() const {
    char text[dbm_text_width] = "";
    (void)dbm_message_text(text, sizeof text, dbm_no_line_breaks, dbm_manager_catalog, &ca);
    return text;
}

void govern_server(const TempInstance &instance, const std::string &more, const std::string &role) {
    (void)instance.write("instance.conf",
                         "manager = postgres\nconnection = host=" + LiveServer::get()->socket() +
                             " dbname=sample user=" + role + "\n" + more);
}

bool kernel_groups() {
    return first_line("/proc/sys/kernel/sched_autogroup_enabled") == "1";
}

bool may_set_nice() {
    __user_cap_header_struct head{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2] = {};
    return syscall(SYS_capget, &head, data) == 0 && (data[0].effective >> CAP_SYS_NICE & 1U) != 0;
}

Nice nice_values(int pid) {
    Nice values;
    errno = 0;
    const int own = getpriority(PRIO_PROCESS, static_cast<id_t>(pid));
    if (errno != 0)
        return values;
    values.own = values.group = own;
    std::istringstream group(first_line("/proc/" + std::to_string(pid) + "/autogroup"));
    std::string name, word;
    if (kernel_groups())
        group >> name >> word >> values.group;
    return values;
}

double cpu_seconds_of(int pid) {
    const std::string text = first_line("/proc/" + std::to_string(pid) + "/stat");
    std::istringstream fields(text.substr(text.rfind(')') + 1));
    std::string word;
    double user = 0, system = 0;
    for (int i = 3; i < 14; ++i)
        fields >> word;
    fields >> user >> system;
    return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

}  // namespace ravelo::test

// Exit status 77: no test failed, but all that were asked for are skipped. 1: there are none such.
int main(int count, char **words) {
    (void)setenv("LC_ALL", "C", 1);
    // Nothing of the user's own settings of a client may lead elsewhere.
    for (const char *const name : {"PGSERVICE", "PGOPTIONS", "PGHOSTADDR", "PGPASSFILE",
                                   "PGSSLMODE", "PGCONNECT_TIMEOUT", "PGTARGETSESSIONATTRS"})
        (void)unsetenv(name);
    testing::InitGoogleTest(&count, words);
    const int failed = RUN_ALL_TESTS();
    const testing::UnitTest &all = *testing::UnitTest::GetInstance();
    if (all.test_to_run_count() == 0)
        return 1;
    return failed == 0 && all.successful_test_count() == 0 ? 77 : failed;
}

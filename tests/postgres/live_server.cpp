#include "tests/postgres/live_server.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace ravelo::test {
namespace {

#ifdef RAVELO_SERVER_PROGRAMS
const std::string programs = RAVELO_SERVER_PROGRAMS;
#else
const std::string programs = "/usr/lib/postgresql/15/bin/";
#endif

pid_t spawn(Lines words) {
    std::vector<char *> arguments;
    for (std::string &word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        if (freopen("/dev/null", "w", stdout) != nullptr &&
            freopen("/dev/null", "w", stderr) != nullptr && chdir("/") == 0)
            (void)execvp(arguments[0], arguments.data());
        _exit(127);
    }
    return pid;
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

bool eventually(const std::function<bool()> &holds) {
    for (int i = 0; i < 300; ++i) {
        if (holds())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return false;
}

LiveServer *LiveServer::get() {
    static const std::unique_ptr<LiveServer> only(
        access((programs + "initdb").c_str(), X_OK) == 0 ? new LiveServer : nullptr);
    return only.get();
}

Lines LiveServer::as_server_user(const Lines &command) const {
    Lines words{"setpriv", "--pdeathsig", "QUIT"};
    if (geteuid() == 0)
        words.insert(words.end(), {"--reuid=postgres", "--regid=postgres", "--clear-groups"});
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

LiveServer::LiveServer() {
    std::string name = std::filesystem::temp_directory_path() / "ravelo-pg-XXXXXX";
    dir_ = mkdtemp(name.data());
    if (geteuid() == 0)
        (void)waitpid(spawn({"chown", "postgres:postgres", dir_}), nullptr, 0);
    (void)chmod(dir_.c_str(), 0755);
    (void)waitpid(spawn(as_server_user({programs + "initdb", "-D", dir_ + "/data", "-U", "postgres",
                                        "-A", "trust", "-N", "-E", "UTF8"})),
                  nullptr, 0);
    start();
    for (const char *const statement :
         {"create role ravelo login", "grant pg_read_all_stats, pg_signal_backend to ravelo",
          "create role plain login", "create role app login", "create role boss login"})
        (void)admin(statement);
    (void)admin("create database sample");
}

LiveServer::~LiveServer() {
    if (pid_ != 0)
        stop();
    std::error_code ignored;
    std::filesystem::remove_all(dir_, ignored);
}

void LiveServer::start(const Lines &more) {
    Lines words{
        programs + "postgres",    "-D", dir_ + "/data",        "-k", dir_, "-h", "", "-F", "-c",
        "log_destination=stderr", "-c", "logging_collector=on"};
    words.insert(words.end(), more.begin(), more.end());
    pid_ = spawn(as_server_user(words));
    const std::string where = "host=" + dir_ + " user=postgres dbname=postgres";
    EXPECT_TRUE(eventually([&] { return PQping(where.c_str()) == PQPING_OK; }));
}

void LiveServer::stop() {
    (void)kill(pid_, SIGINT);
    (void)waitpid(std::exchange(pid_, 0), nullptr, 0);
}

std::string LiveServer::admin(const std::string &sql) {
    PGconn *const peer = PQconnectdb(("host=" + dir_ + " user=postgres dbname=postgres").c_str());
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

Library::Library(const TempInstance &instance) {
    (void)setenv("DBM_INSTANCE", std::filesystem::path(instance.path("log")).parent_path().c_str(),
                 1);
    EXPECT_EQ(dbm_init_process(950801), 0);
}

Library::~Library() {
    EXPECT_EQ(dbm_detach(&ca), 0) << message();
}

int Library::attach() {
    return dbm_attach("ravelod", nullptr, nullptr, &ca) == 0 ? 0 : ca.sqlcode;
}

int Library::snapshot() {
    snapshot_request request = {1, 0, 6, "SAMPLE", {}};
    uint32_t size = 0;
    do {
        if (dbm_snapshot_size(3, nullptr, &request, &size, &ca) != 0)
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
    EXPECT_EQ(dbm_snapshot(3, nullptr, &request, size, buffer_.data(), &summary, &ca), 0);
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
    (void)dbm_force_application(1, &agent, 0, &ca);
    return ca.sqlcode;
}

int Library::priority(int pid, int value) {
    (void)dbm_set_agent_priority(static_cast<uint32_t>(pid), value, 0, &ca);
    return ca.sqlcode;
}

std::string Library::message() const {
    char text[400] = "";
    (void)dbm_message_text(text, sizeof text, 0, "ozusql.mo", &ca);
    return text;
}

void govern_server(const TempInstance &instance, const std::string &more, const std::string &role) {
    (void)instance.write("instance.conf",
                         "manager = postgres\nconnection = host=" + LiveServer::get()->socket() +
                             " dbname=sample user=" + role + "\n" + more);
}

Nice nice_values(int pid) {
    Nice values;
    errno = 0;
    const int own = getpriority(PRIO_PROCESS, static_cast<id_t>(pid));
    if (errno != 0)
        return values;
    values.own = own;
    std::ifstream file("/proc/" + std::to_string(pid) + "/autogroup");
    std::string name, word;
    file >> name >> word >> values.group;
    if (!file)
        values.group = own;  // this kernel has no such groups
    return values;
}

double cpu_seconds_of(int pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string text{std::istreambuf_iterator<char>(file), {}};
    std::istringstream fields(text.substr(text.rfind(')') + 1));
    std::string word;
    double user = 0, system = 0;
    for (int i = 3; i < 14; ++i)
        fields >> word;
    fields >> user >> system;
    return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

}  // namespace ravelo::test

// What a PostgreSQL server answers, or whoever answers in its place: connecting, preparing and
// asking for the sessions. The input's parts, between bytes 0xFE 0xFE, are sent one after each
// request.
#include <mutex>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>

#include "dbm/postgres/activity.h"
#include "dbm/postgres/sessions.h"
#include "fuzz/input_file.h"

using namespace ravelo;

namespace {

// Listens in a folder of its own for the life of the process.
struct peer {
    peer() {
        sockaddr_un place{AF_UNIX, {}};
        (void)(folder.path / ".s.PGSQL.5432")
            .string()
            .copy(place.sun_path, sizeof place.sun_path - 1);
        listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        fuzz::require(bind(listener, reinterpret_cast<sockaddr *>(&place), sizeof place) == 0 &&
                      listen(listener, 8) == 0);
        std::thread([this] { serve(); }).detach();
    }

    void serve() {
        for (int one; (one = accept(listener, nullptr, nullptr)) >= 0; (void)close(one)) {
            std::string parts;
            {
                const std::lock_guard<std::mutex> guard(lock);
                parts = answers;
            }
            // Who waits for more of half a message sends no request: the next part comes all the
            // same.
            char request[8192];
            for (size_t at = 0; at < parts.size();) {
                pollfd asked{one, POLLIN, 0};
                if (poll(&asked, 1, 1) == 1 && read(one, request, sizeof request) <= 0)
                    break;
                const size_t end = std::min(parts.find("\xFE\xFE", at), parts.size());
                if (send(one, parts.data() + at, end - at, MSG_NOSIGNAL) < 0)
                    break;
                at = end + 2;
            }
        }
    }

    const fuzz::instance_directory folder;
    int listener;
    std::mutex lock;
    std::string answers;
};

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static auto *const stranger = new peer;
    {
        const std::lock_guard<std::mutex> guard(stranger->lock);
        stranger->answers.assign(reinterpret_cast<const char *>(data), size);
    }
    using namespace dbm::postgres;
    connection link;
    const std::string where =
        "host=" + stranger->folder.path.string() + " user=u dbname=d sslmode=disable";
    if (link.open(where, "fuzz", std::chrono::seconds(1)).what != trouble::none)
        return 0;
    rows answer;
    const std::array<parameter, 2> named = {parameter("d"), parameter("{}")};
    if (link.ask(ask_activity, named, answer).what != trouble::none)
        return 0;
    std::vector<backend> backends;
    read_activity(answer, backends);
    session_table table;
    std::vector<listed_session> listed;
    list_sessions(backends, dbm::settings{}, 1, 1, table, listed);
    fuzz::require(listed.size() <= backends.size());
    for (const backend &each : backends)
        fuzz::require(each.pid > 0 && each.backend_start > 0 && each.xact_start >= 0);
    return 0;
}

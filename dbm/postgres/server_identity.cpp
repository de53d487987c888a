#include "dbm/postgres/server_identity.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <netinet/in.h>
#include <optional>
#include <string_view>
#include <sys/socket.h>

#include "dbm/common/line_reader.h"
#include "dbm/common/text.h"
#include "dbm/postgres/process.h"

namespace dbm::postgres {

namespace {

using endpoint_text = std::array<char, 48>;

// An end of a connection as the kernel's tables have it: "0100007F:1538". In the table of IPv6 an
// IPv4 address stands as a mapped one.
endpoint_text text_of(const sockaddr_storage &end, bool in_v6) {
    std::array<uint32_t, 4> words = {0, 0, htonl(0xFFFF), 0};
    uint16_t port = 0;
    if (end.ss_family == AF_INET) {
        sockaddr_in v4 = {};
        std::memcpy(&v4, &end, sizeof v4);
        words[3] = v4.sin_addr.s_addr;
        port = ntohs(v4.sin_port);
    } else {
        sockaddr_in6 v6 = {};
        std::memcpy(&v6, &end, sizeof v6);
        std::memcpy(words.data(), &v6.sin6_addr, sizeof words);
        port = ntohs(v6.sin6_port);
    }
    endpoint_text text = {};  // the longest has 32 + 1 + 4 characters
    if (in_v6)
        (void)std::snprintf(text.data(), text.size(), "%08X%08X%08X%08X:%04X", words[0], words[1],
                            words[2], words[3], port);
    else
        (void)std::snprintf(text.data(), text.size(), "%08X:%04X", words[3], port);
    return text;
}

// The word with that number, counted from 0.
std::string_view word_of(std::string_view line, int number) {
    for (int i = 0; !line.empty(); ++i) {
        line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
        const size_t end = std::min(line.find(' '), line.size());
        if (i == number)
            return line.substr(0, end);
        line.remove_prefix(end);
    }
    return {};
}

// The user of the socket that has these ends.
std::optional<uid_t> owner_in(const char *table, std::string_view local, std::string_view remote) {
    line_reader reader;
    std::span<char> line;
    if (open_lines(reader, table) != 0)
        return std::nullopt;
    while (next_line(reader, line) == line_status::line) {
        const std::string_view text(line.data(), line.size());
        uid_t user = 0;
        if (word_of(text, 1) == local && word_of(text, 2) == remote &&
            parse_number(word_of(text, 7), user))
            return user;
    }
    return std::nullopt;
}

std::optional<uid_t> tcp_owner(int socket) {
    sockaddr_storage here = {};
    sockaddr_storage there = {};
    socklen_t length = sizeof here;
    if (getsockname(socket, reinterpret_cast<sockaddr *>(&here), &length) != 0)
        return std::nullopt;
    length = sizeof there;
    if (getpeername(socket, reinterpret_cast<sockaddr *>(&there), &length) != 0 ||
        here.ss_family != there.ss_family)
        return std::nullopt;
    sockaddr_in6 v6 = {};
    std::memcpy(&v6, &there, sizeof v6);
    std::optional<uid_t> owner;
    if (there.ss_family == AF_INET || IN6_IS_ADDR_V4MAPPED(&v6.sin6_addr))
        owner =
            owner_in("/proc/net/tcp", text_of(there, false).data(), text_of(here, false).data());
    return owner ? owner
                 : owner_in("/proc/net/tcp6", text_of(there, true).data(),
                            text_of(here, true).data());
}

}  // namespace

bool serves_session(int socket, pid_t parent, pid_t session) {
    const std::optional<uid_t> user = user_of(session);
    int family = 0;
    socklen_t length = sizeof family;
    if (!user || user_of(parent) != user ||
        getsockopt(socket, SOL_SOCKET, SO_DOMAIN, &family, &length) != 0)
        return false;
    if (family == AF_INET || family == AF_INET6)
        return tcp_owner(socket) == user;
    ucred peer = {};
    length = sizeof peer;
    return family == AF_UNIX && getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &length) == 0 &&
           peer.pid == parent && peer.uid == *user;
}

}  // namespace dbm::postgres

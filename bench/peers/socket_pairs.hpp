// The two ends of a connection for each listener, made before the processes are forked.
#ifndef MOX_BENCH_PEERS_SOCKET_PAIRS_HPP
#define MOX_BENCH_PEERS_SOCKET_PAIRS_HPP

#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <vector>

#include "rounds.hpp"

namespace mox::peers {

class SocketPairs {
public:
    void make(int count) {
        for (int at = 0; at < count; ++at) {
            std::array<int, 2> ends = {-1, -1};
            require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0,
                               ends.data()) == 0,
                    "no pair of sockets");
            pairs_.push_back(ends);
        }
    }

    std::size_t count() const { return pairs_.size(); }

    // The caller's from now on. Each process takes its own ends; the others' stay open in it until
    // it ends.
    int owners_end(std::size_t listener) const { return pairs_[listener][0]; }
    int listeners_end(std::size_t listener) const { return pairs_[listener][1]; }

private:
    std::vector<std::array<int, 2>> pairs_;
};

}  // namespace mox::peers

#endif

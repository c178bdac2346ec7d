// The command line that the programs of this directory share, and how they end when something
// broke: with a line that says what, with the seed that led there.
//
//   PROGRAM [--short] [--seed N]
#ifndef MOX_TEST_RELIABILITY_RUN_OPTIONS_HPP
#define MOX_TEST_RELIABILITY_RUN_OPTIONS_HPP

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "ipc_namespace.hpp"

namespace mox::test {

struct RunOptions {
    bool is_short = false;
    std::uint32_t seed = 0;
};

// The seed of this run, for what any part of the program says when it ends.
inline std::uint32_t& seed_of_run() {
    static std::uint32_t seed = 0;
    return seed;
}

// Ends the process at once: something that was promised did not hold. Any thread.
[[noreturn]] inline void broken(const std::string& what) {
    std::fprintf(stderr, "BROKEN (seed %u, process %d): %s\n", seed_of_run(),
                 static_cast<int>(getpid()), what.c_str());
    std::fflush(stderr);
    _exit(1);
}

inline void require(bool holds, const std::string& what) {
    if (!holds) broken(what);
}

// Reads the command line; ends the process with status 2 and the usage for a wrong one.
inline RunOptions read_options(int argc, char** argv) {
    RunOptions options;
    options.seed = std::random_device{}();
    for (int at = 1; at < argc; ++at) {
        const std::string argument = argv[at];
        char* end = nullptr;
        if (argument == "--short") {
            options.is_short = true;
        } else if (argument == "--seed" && at + 1 < argc) {
            options.seed = static_cast<std::uint32_t>(std::strtoul(argv[++at], &end, 10));
        }
        if (argument != "--short" && (end == nullptr || *end != '\0')) {
            std::fprintf(stderr, "usage: %s [--short] [--seed NUMBER]\n", argv[0]);
            std::exit(2);
        }
    }
    seed_of_run() = options.seed;
    std::fprintf(stderr, "%s: seed %u, %s run\n", argv[0], options.seed,
                 options.is_short ? "short" : "long");
    return options;
}

// For the first line of main: the command line, and a System V namespace of this run's own.
inline RunOptions begin_run(int argc, char** argv) {
    const RunOptions options = read_options(argc, argv);
    const std::string failure = enter_ipc_namespace();
    require(failure.empty(), failure);
    return options;
}

// Prints one figure as a row of a table.
inline void print_row(const std::string& what, const std::string& figure) {
    std::printf("| %s | %s |\n", what.c_str(), figure.c_str());
    std::fflush(stdout);
}

}  // namespace mox::test

#endif

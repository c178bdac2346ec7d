// The end of a run in which a row cannot be measured. The benchmark library's own way out of a row
// is not taken: a row whose first repetition fails and a later one does not makes it crash.
#ifndef MOX_BENCH_ROW_FAILURE_HPP
#define MOX_BENCH_ROW_FAILURE_HPP

#include <cstdio>
#include <cstdlib>
#include <string>

namespace mox::bench {

[[noreturn]] inline void fail_row(const std::string& why) {
    std::fflush(stdout);
    std::fprintf(stderr, "moxbench: %s; no row of this run is kept\n", why.c_str());
    std::exit(1);
}

}  // namespace mox::bench

#endif

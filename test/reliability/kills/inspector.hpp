// A module that looks, after each kill, whether something of the victim is left, and its client in
// the first process, which must not have threads and so joins nothing itself.
#ifndef MOX_KILLS_INSPECTOR_HPP
#define MOX_KILLS_INSPECTOR_HPP

#include <sys/types.h>

#include <string>

#include "stage.hpp"

namespace mox::kills {

enum class Question : char {
    remember,      // notes how the pool is now; to be asked when all are joined
    is_gone,       // whether nothing of the victim is left
    plug_both,     // has both boards plugged
    put_back,      // has the boards as at the start, the plugged one anew
    are_saved,     // whether the saved values are the reported ones
    is_pool_same,  // whether the pool's use is as it was when it was noted
    tell_pool      // tells the pool's use
};

class Inspector {
public:
    // Makes the process; it answers from the moment when it has joined.
    explicit Inspector(const Stage& stage);
    // Ends it and waits for its end.
    ~Inspector();
    Inspector(const Inspector&) = delete;
    Inspector& operator=(const Inspector&) = delete;

    // Asks and waits for the answer, 5 s at most. "" when all is well, else what is not; the use of
    // the pool for tell_pool. Throws when none comes.
    std::string ask(Question question);

private:
    int socket_ = -1;
    pid_t process_ = -1;
};

}  // namespace mox::kills

#endif

// File operations of the database that fail on demand: a layer in front of the system's own, for
// every file that the process opens through the database.
//
//   FailingFiles files;                              in front while the scope lives
//   files.plan(FileFault::short_write, 3, false);    the third write from now is cut short
//   files.plan(FileFault::none, 0, false);
//   files.calls()                                    operations since the last plan that it counts
//
// What holds: an operation that does not fail is the system's, but for a synchronisation, which is
// only counted. One thread.
#ifndef MOX_TEST_EXHAUSTION_FAILING_FILES_HPP
#define MOX_TEST_EXHAUSTION_FAILING_FILES_HPP

namespace mox::test {

enum class FileFault {
    none,         // counts every operation
    error,        // every operation counts; the system could not do it
    short_write,  // of a write, half the bytes come to the file, then it is full
    no_space,     // nothing of a write comes to the file, it is full
    failed_sync   // what was written may never come to the storage
};

class FailingFiles {
public:
    FailingFiles();
    ~FailingFiles();
    FailingFiles(const FailingFiles&) = delete;
    FailingFiles& operator=(const FailingFiles&) = delete;

    // Has the n-th operation that the fault concerns fail, and all later ones with from_then_on.
    void plan(FileFault fault, unsigned n, bool from_then_on);
    unsigned calls() const;
};

}  // namespace mox::test

#endif

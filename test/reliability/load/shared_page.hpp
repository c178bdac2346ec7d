// A record in memory that a program shares with the processes it forks: what they tell each other
// without a wait. Made before the first fork; the record is of atomics.
#ifndef MOX_TEST_RELIABILITY_SHARED_PAGE_HPP
#define MOX_TEST_RELIABILITY_SHARED_PAGE_HPP

#include <sys/mman.h>

#include <new>

#include "../run_options.hpp"

namespace mox::test {

template <typename Record>
class SharedPage {
public:
    SharedPage()
        : memory_{mmap(nullptr, sizeof(Record), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                       -1, 0)} {
        require(memory_ != MAP_FAILED, "no memory to share with the other processes");
        record_ = new (memory_) Record{};
    }
    ~SharedPage() { munmap(memory_, sizeof(Record)); }
    SharedPage(const SharedPage&) = delete;
    SharedPage& operator=(const SharedPage&) = delete;

    Record* operator->() const { return record_; }
    Record& operator*() const { return *record_; }

private:
    void* memory_;
    Record* record_;
};

}  // namespace mox::test

#endif

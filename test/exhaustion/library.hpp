// A fresh library over the platform fakes for the length of a scope, in a process that knew another
// one before or none; its end looks at what the fixture of the value tests looks at.
#ifndef MOX_TEST_EXHAUSTION_LIBRARY_HPP
#define MOX_TEST_EXHAUSTION_LIBRARY_HPP

#include <classtree.h>

#include "../unit/lom/write_fixture.hpp"

namespace mox::test {

class Library : public ValueFixture {
public:
    Library() {
        clt_set_tree_addr(nullptr);
        SetUp();
    }
    ~Library() override { TearDown(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    using ObjectFixture::expect_no_forgotten_reference;

private:
    void TestBody() override {}
};

}  // namespace mox::test

#endif

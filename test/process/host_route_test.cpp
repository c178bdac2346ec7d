// Routes to the modules that are joined, and to their classes.
#include "host_board_model.hpp"

namespace mox::test {
namespace {

class Routes : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(owner_.start()) << owner_.process().errors(); }

    // "KEY PORT", the newest first.
    Names listed() const {
        gsize count = 0;
        HostError error;
        ROUTE_S* const routes = moxhost_list_routes(module_.get(), &count, error.out());
        EXPECT_NE(routes, nullptr) << error.text();
        Names names;
        for (const ROUTE_S* route = routes; route != nullptr && route->target_name[0] != '\0';
             ++route) {
            names.push_back(text_of(*route));
        }
        EXPECT_EQ(names.size(), count);
        g_free(routes);
        return names;
    }

    // The same of this process's own table.
    static Names known() {
        GSList* list = nullptr;
        rut_get_list(&list);
        Names names;
        for (const GSList* item = list; item != nullptr; item = item->next) {
            names.push_back(text_of(*static_cast<const ROUTE_S*>(item->data)));
        }
        return names;
    }

    static std::string text_of(const ROUTE_S& route) {
        EXPECT_NE(route.target.msg_que_id, 0);
        return std::string(route.target_name) + ' ' + std::to_string(route.target.rpc_port);
    }

    HostOwner owner_;
    ModulePtr module_;
};

TEST_F(Routes, AreAddedForAModuleAndItsClassesWhenItJoins) {
    module_ = join(owner_, "heater");
    EXPECT_EQ(listed(), (Names{"Thermometer 1", "_heater 1"}));
    const MODULE_REG_INFO_S* const info = moxhost_reg_info(module_.get());
    EXPECT_EQ(info->rpc_port, 1);
    ROUTE_S* const routes = moxhost_list_routes(module_.get(), nullptr, nullptr);
    ASSERT_NE(routes, nullptr);
    EXPECT_EQ(routes[0].target.msg_que_id, info->msg_que_id);
    g_free(routes);
}

TEST_F(Routes, OfTheNewestModuleComeFirst) {
    module_ = join(owner_, "tester");
    RawPeer peer(owner_);
    ASSERT_NE(peer.join("heater").rfind("error", 0), 0U);
    EXPECT_EQ(listed(), (Names{"Thermometer 2", "_heater 2", "_tester 1"}));
}

TEST_F(Routes, OfAModuleThatIsGoneAreNotListed) {
    module_ = join(owner_, "tester");
    RawPeer peer(owner_);
    ASSERT_NE(peer.join("heater").rfind("error", 0), 0U);
    ASSERT_EQ(peer.call("Leave", nullptr), "()");
    EXPECT_EQ(listed(), Names{"_tester 1"});
    RawPeer next(owner_);
    ASSERT_NE(next.join("other").rfind("error", 0), 0U);
    EXPECT_EQ(listed(), (Names{"_other 2", "_tester 1"}));
}

TEST_F(Routes, ThatAreListedAreAddedOnceToTheProcesssOwnTable) {
    module_ = join(owner_, "tester");
    EXPECT_EQ(known(), Names{});
    {
        RawPeer peer(owner_);
        ASSERT_NE(peer.join("heater").rfind("error", 0), 0U);
        listed();
        listed();
        EXPECT_EQ(known(), (Names{"Thermometer 2", "_heater 2", "_tester 1"}));
        ASSERT_EQ(peer.call("Leave", nullptr), "()");
    }
    RawPeer first(owner_);
    ASSERT_NE(first.join("other").rfind("error", 0), 0U);
    RawPeer peer(owner_);
    ASSERT_NE(peer.join("heater").rfind("error", 0), 0U);
    listed();
    const Names all = known();
    ASSERT_GE(all.size(), 2U);
    EXPECT_EQ(all[0], "Thermometer 3");
    EXPECT_EQ(all[1], "_heater 3");
    EXPECT_EQ(all.back(), "_tester 1");
}

TEST_F(Routes, OfAModuleThatIsKilledAreNotListed) {
    {
        Companion companion(owner_, "heater", Companion::Kind::silent, {});
        module_ = join(owner_, "tester");
        EXPECT_EQ(listed(), (Names{"_tester 2", "Thermometer 1", "_heater 1"}));
    }
    EXPECT_TRUE(eventually([this] { return listed() == Names{"_tester 2"}; }));
}

}  // namespace
}  // namespace mox::test

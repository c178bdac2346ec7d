// The routes to modules and classes.
#include "mxroute/route.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string text_of(const ROUTE_S& route) {
    return std::string(route.target_name) + " " + std::to_string(route.target.rpc_port) + " " +
           std::to_string(route.target.msg_que_id);
}

using Routes = std::vector<std::string>;

Routes listed() {
    GSList* list = nullptr;
    rut_get_list(&list);
    Routes routes;
    for (; list != nullptr; list = list->next) {
        routes.push_back(text_of(*static_cast<const ROUTE_S*>(list->data)));
    }
    return routes;
}

void forget_routes() {
    g_slist_free_full(g_route_list, g_free);
    g_route_list = nullptr;
}

class RouteTable : public ::testing::Test {
protected:
    void SetUp() override { forget_routes(); }
    void TearDown() override { forget_routes(); }
};

TEST_F(RouteTable, BeginsEmpty) {
    ROUTE_S route = {};
    GSList untouched = {&route, nullptr};
    GSList* list = &untouched;
    rut_get_list(&list);
    EXPECT_EQ(list, nullptr);
}

TEST_F(RouteTable, KeepsAModuleUnderItsNameBehindAnUnderscore) {
    rut_add_module("fan", 5, 7);
    EXPECT_EQ(listed(), Routes{"_fan 5 7"});
}

TEST_F(RouteTable, KeepsAClassUnderItsBareName) {
    rut_add_class("fan", 5, 7);
    EXPECT_EQ(listed(), Routes{"fan 5 7"});
}

TEST_F(RouteTable, KeepsAModuleAndAClassOfOneNameApart) {
    rut_add_module("fan", 5, 7);
    rut_add_class("fan", 6, 8);
    EXPECT_EQ(listed(), (Routes{"fan 6 8", "_fan 5 7"}));
}

TEST_F(RouteTable, HasTheNewestFirst) {
    rut_add_class("fan", 5, 7);
    rut_add_class("disk", 6, 8);
    rut_add_class("fan", 9, 10);
    EXPECT_EQ(listed(), (Routes{"fan 9 10", "disk 6 8", "fan 5 7"}));
}

TEST_F(RouteTable, TakesNoRouteWithoutAPort) {
    rut_add_module("fan", 0, 7);
    rut_add_class("fan", 0, 7);
    EXPECT_EQ(listed(), Routes{});
}

TEST_F(RouteTable, TakesNoRouteWithoutAName) {
    rut_add_module(nullptr, 5, 7);
    rut_add_class(nullptr, 5, 7);
    EXPECT_EQ(listed(), Routes{});
}

TEST_F(RouteTable, TakesAnyQueueAndAnyOtherPort) {
    rut_add_module("fan", -1, 0);
    rut_add_class("fan", G_MAXINT32, G_MININT32);
    EXPECT_EQ(listed(), (Routes{"fan 2147483647 -2147483648", "_fan -1 0"}));
}

TEST_F(RouteTable, CutsALongKeyTo31Characters) {
    const std::string name = "ABCDEFGHIJKLMNOPQRSTUVWXYZ01234567";
    rut_add_module(name.c_str(), 5, 7);
    rut_add_class(name.c_str(), 5, 7);
    rut_add_class(name.substr(0, 31).c_str(), 6, 7);
    EXPECT_EQ(listed(), (Routes{name.substr(0, 31) + " 6 7", name.substr(0, 31) + " 5 7",
                                "_" + name.substr(0, 30) + " 5 7"}));
}

TEST_F(RouteTable, IsGivenAsItIsAndStaysAsItWasGiven) {
    rut_add_class("fan", 5, 7);
    GSList* given = nullptr;
    rut_get_list(&given);
    EXPECT_EQ(given, g_route_list);
    rut_add_class("disk", 6, 8);
    EXPECT_EQ(g_slist_length(given), 1U);
    EXPECT_EQ(g_route_list->next, given);
    EXPECT_EQ(text_of(*static_cast<const ROUTE_S*>(given->data)), "fan 5 7");
}

TEST_F(RouteTable, IsGivenToNobodyWithoutAReceiver) {
    rut_add_class("fan", 5, 7);
    rut_get_list(nullptr);
    EXPECT_EQ(listed(), Routes{"fan 5 7"});
}

TEST_F(RouteTable, LosesNoRouteThatThreadsAddAtOnce) {
    constexpr int kThreads = 4;
    constexpr int kEach = 200;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([thread] {
            for (int i = 1; i <= kEach; ++i) rut_add_class("fan", i, thread);
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(listed().size(), 1U * kThreads * kEach);
}

TEST_F(RouteTable, IsReadWholeWhileItGrows) {
    std::atomic<bool> is_done{false};
    std::thread writer([&] {
        for (int i = 1; i <= 300; ++i) rut_add_module("fan", i, 1000 + i);
        is_done = true;
    });
    bool is_last = false;
    while (!is_last) {
        is_last = is_done;
        GSList* list = nullptr;
        rut_get_list(&list);
        gint32 expected = list == nullptr ? 0 : static_cast<ROUTE_S*>(list->data)->target.rpc_port;
        for (; list != nullptr; list = list->next) {
            const auto& route = *static_cast<const ROUTE_S*>(list->data);
            ASSERT_STREQ(route.target_name, "_fan");
            ASSERT_EQ(route.target.rpc_port, expected);
            ASSERT_EQ(route.target.msg_que_id, 1000 + expected);
            --expected;
        }
        ASSERT_EQ(expected, 0);
    }
    writer.join();
}

}  // namespace

// The transport between a module and a real owner, each of the module's calls failing in turn.
#include "forked_run.hpp"
#include "system_limits.hpp"
#include "transport_module.hpp"
#include "wire/interface.hpp"

namespace mox::test {
namespace {

std::string name_of(TransportFault fault) {
    switch (fault) {
        case TransportFault::refused:
            return "ThatRefuses";
        case TransportFault::timed_out:
            return "ThatDoesNotAnswer";
        case TransportFault::reply_lost:
            return "ThatLosesAReply";
        default:
            return "ThatIsClosed";
    }
}

// The sweep fails the calls of an undisturbed life, so that life has to make each there is.
void expect_every_method_called() {
    const std::set<std::string> called = transport_methods();
    const GDBusInterfaceInfo* const interface = host::wire::interface_info();
    for (GDBusMethodInfo** method = interface->methods; *method != nullptr; ++method) {
        EXPECT_EQ(called.count((*method)->name), 1U) << (*method)->name << " is not called";
    }
}

// What the model takes of the pool, as it was asked for; listener lists that are to be given back
// some seconds later do not count.
struct Footprint {
    SharedCount objects;
    SharedCount classes;
    SharedCount blocks;  // these lists included; the allocator's rounding does not count
};

class FailingTransport : public ::testing::TestWithParam<TransportFault> {
protected:
    void SetUp() override {
        ASSERT_TRUE(owner_.start(transport_profile(owner_))) << owner_.process().errors();
    }

    // One module's life; returns its calls.
    unsigned live(const TransportPlan& plan) {
        SharedCount calls;
        const ForkedRun run = run_forked([&] {
            DeskModule(owner_, plan).live();
            calls.set(transport_calls());
        });
        EXPECT_TRUE(run.is_good) << run.text;
        return calls.get();
    }

    // Another module finds the owner at work, the model whole and nothing of the first one left.
    void look(Footprint& footprint) {
        const ForkedRun run = run_forked([&] {
            const ModulePtr module = join(owner_, "desk-after");
            ASSERT_NE(module, nullptr);
            expect_alone(module.get());
            expect_boards_work(module.get());
            expect_model(module.get());
            MoxHostPoolInfo info = {};
            EXPECT_TRUE(moxhost_pool_info(module.get(), &info, nullptr));
            footprint.objects.set(static_cast<unsigned>(info.objects));
            footprint.classes.set(static_cast<unsigned>(info.classes));
            footprint.blocks.set(static_cast<unsigned>(info.blocks));
        });
        EXPECT_TRUE(run.is_good) << run.text;
    }

    // The blocks in use when they have been the same for longer than it takes to give any back.
    unsigned settled_blocks() {
        SharedCount settled;
        watch_blocks([&settled, since = Clock::now()](unsigned blocks) mutable {
            if (blocks != settled.get()) since = Clock::now();
            settled.set(blocks);
            return Clock::now() - since >= std::chrono::seconds(7);
        });
        return settled.get();
    }

    void expect_blocks_come_down_to(unsigned blocks) {
        watch_blocks([blocks](unsigned now) { return now == blocks; });
    }

    void sweep(unsigned calls, bool from_then_on, const Footprint& whole) {
        std::printf("%u calls, each made to fail%s\n", calls,
                    from_then_on ? " with all later ones" : "");
        for (unsigned n = 1; n <= calls && !HasFailure(); ++n) {
            SCOPED_TRACE("call " + std::to_string(n));
            live({GetParam(), n, from_then_on});
            Footprint footprint;
            look(footprint);
            EXPECT_EQ(footprint.objects.get(), whole.objects.get());
            EXPECT_EQ(footprint.classes.get(), whole.classes.get());
        }
    }

    HostOwner owner_;

private:
    using Clock = std::chrono::steady_clock;

    // A module that changes nothing looks again and again, until is_enough or for 30 seconds.
    void watch_blocks(std::function<bool(unsigned)> is_enough) {
        const ForkedRun run = run_forked([&] {
            const ModulePtr module = join(owner_, "desk-watch");
            ASSERT_NE(module, nullptr);
            const auto end = Clock::now() + std::chrono::seconds(30);
            MoxHostPoolInfo info = {};
            EXPECT_TRUE(moxhost_pool_info(module.get(), &info, nullptr));
            while (!is_enough(static_cast<unsigned>(info.blocks)) && Clock::now() < end) {
                std::this_thread::sleep_for(std::chrono::milliseconds(100));
                EXPECT_TRUE(moxhost_pool_info(module.get(), &info, nullptr));
            }
            EXPECT_TRUE(is_enough(static_cast<unsigned>(info.blocks))) << info.blocks << " blocks";
        });
        EXPECT_TRUE(run.is_good) << run.text;
    }

    static void expect_alone(MoxHostModule* module) {
        EXPECT_TRUE(eventually([module] {
            gsize count = 0;
            g_free(moxhost_module_infos(module, &count, nullptr));
            return count == 2;  // the owner and this one
        }));
        EXPECT_EQ(queues(), 2);
        const guint32 own_bit = 1U << moxhost_reg_info(module)->module_id;
        for (const char* const object : {"Main", "Fan1", "Fan2"}) {
            EXPECT_NE(lom_get_object_handle(object), 0);
            EXPECT_EQ(holders_of(object), own_bit) << object;
        }
    }

    static void expect_boards_work(MoxHostModule* module) {
        gboolean is_plugged = FALSE;
        EXPECT_TRUE(moxhost_board_state(module, "spare", &is_plugged, nullptr, nullptr));
        EXPECT_EQ(is_plugged != FALSE ? "" : plug(module, "spare"), "");
        EXPECT_EQ(value_of("Spare2", "Label"), "'two'");
        EXPECT_EQ(unplug(module, "spare"), "");
        MoxHostPoolInfo info = {};
        EXPECT_TRUE(moxhost_pool_info(module, &info, nullptr));
        EXPECT_EQ(info.removed, 0U) << "removed objects that somebody still has a copy of";
    }

    // An override that could not be cancelled stays until somebody does.
    static void expect_model(MoxHostModule* module) {
        for (const char* const property : {"Goal", "Speed"}) {
            EXPECT_EQ(lom_override_property_value(lom_get_object_handle("Main"), property, nullptr,
                                                  PROPERTY_CANCEL_OVERRIDE, nullptr),
                      MOX_OK);
        }
        EXPECT_TRUE(
            moxhost_apply_property(module, "Main", "Goal", g_variant_new_int32(2), nullptr));
        EXPECT_EQ(value_of("Main", "Goal"), "2");
        const std::string label = value_of("Main", "Label");
        EXPECT_TRUE(label == "'main'" || label == "'a label longer than its room was'") << label;
        EXPECT_EQ(value_of("Fan1", "Speed", From::owners_hardware), "5");
    }
};

TEST_P(FailingTransport, LeavesTheModuleWithCodesAndTheOwnerWithNothing) {
    const unsigned calls = live({});
    expect_every_method_called();
    Footprint whole;
    look(whole);
    const unsigned blocks = settled_blocks();
    sweep(calls, false, whole);
    if (GetParam() != TransportFault::closed) sweep(calls, true, whole);
    expect_blocks_come_down_to(blocks);
    EXPECT_EQ(owner_.stop(), 0) << owner_.process().errors();
    EXPECT_EQ(system_v_objects(), 0);
}

INSTANTIATE_TEST_SUITE_P(Each, FailingTransport,
                         ::testing::Values(TransportFault::refused, TransportFault::timed_out,
                                           TransportFault::reply_lost, TransportFault::closed),
                         [](const auto& test) { return name_of(test.param); });

}  // namespace
}  // namespace mox::test

// The transport between a module and a real owner, each of the module's calls failing in turn.
#include "forked_run.hpp"
#include "system_limits.hpp"
#include "transport_module.hpp"

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

    // Blocks in use when everything was given back; nothing is later than after 7 seconds.
    unsigned settled_blocks() {
        std::this_thread::sleep_for(std::chrono::seconds(7));
        Footprint footprint;
        look(footprint);
        return footprint.blocks.get();
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
    ASSERT_GE(calls, 50U);
    Footprint whole;
    look(whole);
    const unsigned blocks = settled_blocks();
    sweep(calls, false, whole);
    if (GetParam() != TransportFault::closed) sweep(calls, true, whole);
    EXPECT_EQ(settled_blocks(), blocks);
    EXPECT_EQ(owner_.stop(), 0) << owner_.process().errors();
    EXPECT_EQ(system_v_objects(), 0);
}

INSTANTIATE_TEST_SUITE_P(Each, FailingTransport,
                         ::testing::Values(TransportFault::refused, TransportFault::timed_out,
                                           TransportFault::reply_lost, TransportFault::closed),
                         [](const auto& test) { return name_of(test.param); });

}  // namespace
}  // namespace mox::test

// A live read of a formula's result: over inputs that are the same as before, and over one that is
// changed before each read, outside the time.
#include <benchmark/benchmark.h>
#include <muParserDLL.h>

#include "clock.hpp"
#include "model.hpp"
#include "row_failure.hpp"
#include "stored_floor.hpp"

namespace mox::bench {
namespace {

constexpr const char* kFormula = "(X - Y) * 100 / Z";
constexpr const char* kInputs = "formula_500";
constexpr guint32 kY = 1, kZ = 2;  // what make_objects stores in the second and third property

gdouble expected(guint32 x) {
    return (static_cast<gdouble>(x) - kY) * 100 / kZ;
}

OBJ_HANDLE formula_object() {
    static const OBJ_HANDLE handle = [] {
        make_objects("formula", 1000, 3);
        return make_formula_object("formula_result", kFormula, kInputs);
    }();
    return handle;
}

void set_x(guint32 x) {
    lom_realloc_property(kInputs, kProperty, "u", sizeof(x), &x);
}

// A live read of what the formula gives for x. Returns whether it gave that.
bool read_result(OBJ_HANDLE object, guint32 x) {
    GVariant* value = nullptr;
    if (lom_get_property_value(object, kProperty, TRUE, &value, FALSE) != MOX_OK) {
        return false;
    }
    const gdouble difference = g_variant_get_double(value) - expected(x);
    g_variant_unref(value);
    return difference > -0.5 && difference < 0.5;
}

// Runs prepare and call one after the other and reports the time of call alone. One pair goes
// ahead, untimed.
template <typename Prepare, typename Call>
void measure(benchmark::State& state, Prepare prepare, Call call) {
    prepare();
    call();
    for (auto _ : state) {
        prepare();
        const gint64 start = now_ns();
        const bool is_done = call();
        state.SetIterationTime(static_cast<double>(now_ns() - start) * 1e-9);
        if (!is_done) {
            fail_row("the formula gave another result");
        }
    }
}

void unchanged(benchmark::State& state) {
    const OBJ_HANDLE object = formula_object();
    set_x(70);
    measure(
        state, [] {}, [&] { return read_result(object, 70); });
}

void changed(benchmark::State& state) {
    const OBJ_HANDLE object = formula_object();
    guint32 x = 100;
    measure(
        state, [&] { set_x(++x); }, [&] { return read_result(object, x); });
}

gdouble second_operand(gdouble, gdouble right) {
    return right;
}

// A parser as a formula needs it: the three operators that formulas have beside the library's own,
// the text, the inputs.
gdouble evaluate(const gdouble (&inputs)[3]) {
    const muParserHandle_t parser = mupCreate(muBASETYPE_FLOAT);
    for (const char* name : {"%", "&", "|"}) {
        mupDefineOprt(parser, name, second_operand, 6, 0, 0);
    }
    mupSetExpr(parser, kFormula);
    mupDefineConst(parser, "X", inputs[0]);
    mupDefineConst(parser, "Y", inputs[1]);
    mupDefineConst(parser, "Z", inputs[2]);
    const gdouble result = mupEval(parser);
    mupRelease(parser);
    return result;
}

// The object; of each input the property that names it, the name split, its object, its own
// property and a copy under its semaphore; the properties that hold the inputs before; under the
// object's semaphore the comparison with those and a copy of the result; a value over that.
class FormulaFloor : public StoredFloor {
public:
    void set_x(guint32 x) { inputs_[0] = x; }

    bool read(bool is_changed) {
        find_object();
        find_property("Value5");
        guint32 fresh[3];
        for (int at = 0; at < 3; ++at) {
            find_property("Value1");
            split("formula_500.Value1");
            find_object();
            find_property("Value2");
            osal_process_sem_p(semid, member);
            std::memcpy(&fresh[at], &inputs_[at], sizeof(fresh[at]));
            osal_process_sem_v(semid, member);
        }
        for (const char* cache : {"Value4", "Value6", "Value7"}) {
            find_property(cache);
        }
        gdouble result = result_;
        osal_process_sem_p(semid, member);
        const bool is_same = std::memcmp(fresh, cache_, sizeof(fresh)) == 0;
        osal_process_sem_v(semid, member);
        if (!is_same) {
            result = evaluate_and_store(fresh);
        }
        gpointer copy = g_memdup2(&result, sizeof(result));
        GVariant* value = g_variant_new_from_data(G_VARIANT_TYPE_DOUBLE, copy, sizeof(result), TRUE,
                                                  g_free, copy);
        benchmark::DoNotOptimize(value);
        g_variant_unref(value);
        return is_same != is_changed;
    }

private:
    // The two pieces of a reference's text.
    static void split(const char* text) {
        char pieces[2][64];
        const char* dot = std::strchr(text, '.');
        std::memcpy(pieces[0], text, static_cast<gsize>(dot - text));
        std::strcpy(pieces[1], dot + 1);
        benchmark::DoNotOptimize(pieces);
    }

    // The formula's text, its number, the store of that and of the inputs, the listeners looked up.
    gdouble evaluate_and_store(const guint32 (&fresh)[3]) {
        find_property("Value3");
        const gdouble result =
            evaluate({static_cast<gdouble>(fresh[0]), static_cast<gdouble>(fresh[1]),
                      static_cast<gdouble>(fresh[2])});
        osal_process_sem_p(semid, member);
        std::memcpy(cache_, fresh, sizeof(fresh));
        result_ = result;
        osal_process_sem_v(semid, member);
        find_property("Value5");
        return result;
    }

    guint32 inputs_[3] = {0, kY, kZ};
    guint32 cache_[3] = {0, kY, kZ};
    gdouble result_ = 0;
};

void floor_unchanged(benchmark::State& state) {
    FormulaFloor floor;
    measure(
        state, [] {}, [&] { return floor.read(false); });
}

void floor_changed(benchmark::State& state) {
    FormulaFloor floor;
    guint32 x = 100;
    measure(
        state, [&] { floor.set_x(++x); }, [&] { return floor.read(true); });
}

BENCHMARK(unchanged)->Name("formula/unchanged")->UseManualTime();
BENCHMARK(floor_unchanged)->Name("floor/formula/unchanged")->UseManualTime();
BENCHMARK(changed)->Name("formula/changed")->UseManualTime();
BENCHMARK(floor_changed)->Name("floor/formula/changed")->UseManualTime();

}  // namespace
}  // namespace mox::bench

// value_steps: the writing side of the demonstration. Each step prints what it did and saw; exit
// status 1, with the cause, when it did not see what it should.
//
//   value_steps --step listen                        waits for one announced threshold
//   value_steps --step change --setting-file FILE    saves, forces, computes, writes to hardware
//   value_steps --step after-restart                 finds the saved threshold again
//
// Each takes --run-dir DIR, too. FILE is the one behind the setting.
#include <lom.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <vector>

#include "demo_objects.hpp"
#include "step_module.hpp"
#include "step_options.hpp"
#include "text_file.hpp"
#include "value_text.hpp"

namespace mox::examples {
namespace {

constexpr unsigned new_threshold = 95;

void write_file(const std::string& path, unsigned value) {
    std::ofstream file{path, std::ios::trunc};
    file << value << "\n";
    file.close();
    expect(file.good(), "cannot write " + path);
}

void set_threshold(StepModule& module) {
    const unsigned before = module.stored(demo_object, threshold_property);
    expect_value("the threshold before", before, profile_threshold);
    module.set(demo_object, threshold_property, new_threshold);
    expect_value("the threshold", module.stored(demo_object, threshold_property), new_threshold);
    std::printf("  threshold   was %u, as in the profile; set to %u and saved permanently\n",
                before, new_threshold);
}

// Other code may read the setting meanwhile: everybody sees the forced value.
void override_setting(StepModule& module, const std::string& path) {
    constexpr unsigned forced = 999;
    constexpr unsigned ordinary = 5;
    const OBJ_HANDLE demo = module.find(demo_object);
    const auto override = [&](PROPERTY_STATE mode) {
        GVariant* value = mode == PROPERTY_OVERRIDE ? g_variant_new_uint32(forced) : nullptr;
        const VariantPtr own{value == nullptr ? nullptr : g_variant_ref_sink(value)};
        const gint32 code =
            lom_override_property_value(demo, setting_property, own.get(), mode, nullptr);
        expect(code == MOX_OK, "the override gives code " + std::to_string(code));
    };
    const unsigned before = module.live(demo_object, setting_property);
    override(PROPERTY_OVERRIDE);
    expect_value("the forced value", module.live(demo_object, setting_property), forced);
    const VariantPtr refused{g_variant_ref_sink(g_variant_new_uint32(ordinary))};
    const gint32 code =
        lom_set_property_value(demo, setting_property, refused.get(), PER_MODE_NOSUPPORT, FALSE);
    expect(code == MOX_ERR_OVERRIDDEN,
           "a write to the forced value gives code " + std::to_string(code));
    write_file(path, before + 1);  // the hardware moves on behind the forced value
    module.refresh();
    expect_value("the forced value", module.live(demo_object, setting_property), forced);
    override(PROPERTY_CANCEL_OVERRIDE);
    const unsigned after = module.live(demo_object, setting_property);
    expect_value("the live value", after, before + 1);
    std::printf(
        "  override    live %u, forced to %u: a read shows %u, a write of %u gets code %d\n",
        before, forced, forced, ordinary, static_cast<int>(code));
    std::printf("              cancelled: a read shows %u, to which the file had moved meanwhile\n",
                after);
}

struct Formula {
    double inputs[3];  // X, Y and Z
    double value;
};

// The owner computes with each refresh of its own, too: looks until nothing moved while looking.
Formula look_at_formula(StepModule& module) {
    constexpr int most_looks = 20;
    const char* caches[] = {"Xcache", "Ycache", "Zcache"};
    for (int look = 0; look < most_looks; ++look) {
        module.refresh();
        Formula formula{};
        for (int i = 0; i < 3; ++i) {
            formula.inputs[i] = module.stored_number(formula_object, caches[i]);
        }
        formula.value = module.stored_number(formula_object, "Value");
        bool is_quiet = true;
        for (int i = 0; i < 3; ++i) {
            is_quiet = is_quiet && !(std::fabs(module.stored_number(formula_object, caches[i]) -
                                               formula.inputs[i]) > 0);
        }
        if (is_quiet) return formula;
    }
    throw WatchError("the inputs of the formula move all the time");
}

void check_formula(const Formula& formula) {
    const auto& [total, programs, cached] = formula.inputs;
    const double wanted = 100 * (programs + cached) / total;
    expect(std::fabs(formula.value - wanted) < 1e-9, "the formula has the value " +
                                                         text_of_real(formula.value) + ", not " +
                                                         text_of_real(wanted));
}

void print_formula(const char* when, const Formula& formula) {
    std::printf("  %-10s  %6.2f %%   X %.0f, Y %.0f, Z %.0f KiB\n", when, formula.value,
                formula.inputs[0], formula.inputs[1], formula.inputs[2]);
}

// Uses memory until the formula shows it; other programs may give back as much at the same time, so
// it has some tries.
void move_formula(StepModule& module) {
    constexpr int most_tries = 6;
    constexpr double most_kib = 200.0 * 1024;
    std::printf("  formula     %s, percent; X = %s, Y = %s, Z = %s\n", formula_text,
                formula_inputs[0], formula_inputs[1], formula_inputs[2]);
    for (int attempt = 0; attempt < most_tries; ++attempt) {
        const Formula before = look_at_formula(module);
        check_formula(before);
        const double kib = std::min(most_kib, before.inputs[0] / 16);
        const std::vector<char> memory(static_cast<std::size_t>(kib) * 1024, '\1');
        const Formula after = look_at_formula(module);
        check_formula(after);
        const double used_kib = (after.value - before.value) * before.inputs[0] / 100;
        if (used_kib < kib / 2) continue;
        print_formula("  before", before);
        print_formula("  after", after);
        std::printf("              after: this process holds %zu MiB more\n",
                    static_cast<std::size_t>(std::count(memory.begin(), memory.end(), '\1')) /
                        (1024 * 1024));
        return;
    }
    throw WatchError("the formula does not show the memory that this process holds");
}

void apply_setting(StepModule& module, const std::string& path) {
    constexpr unsigned wanted = 77;
    const unsigned before = module.live(demo_object, setting_property);
    module.apply(demo_object, setting_property, wanted);
    const std::vector<std::string> fields = fields_of(read_text(path).value_or(""));
    expect(fields.size() == 1 && fields[0] == std::to_string(wanted),
           "the file " + path + " does not hold the value that was written");
    module.refresh();
    expect_value("the written value", module.live(demo_object, setting_property), wanted);
    std::printf("  accessor    %u written through it over %u: the file holds %s, a read shows %u\n",
                wanted, before, fields[0].c_str(), wanted);
}

void find_threshold(StepModule& module) {
    const unsigned threshold = module.stored(demo_object, threshold_property);
    expect_value("the threshold", threshold, new_threshold);
    std::printf("  threshold   is %u, the saved value; the profile gives %u\n", threshold,
                profile_threshold);
}

void listen(const std::string& run_dir) {
    StepModule module{run_dir, "demo_listener"};
    const unsigned value = module.wait_for_event(demo_class, threshold_property, [] {
        std::printf("  listener    a process of its own, listens to %s.%s\n", demo_class,
                    threshold_property);
    });
    expect_value("the announced threshold", value, new_threshold);
    std::printf("  listener    was told that it is %u now\n", value);
}

void run(const StepOptions& options) {
    if (options.step == Step::listen) return listen(options.run_dir);
    StepModule module{options.run_dir, demo_module};
    if (options.step == Step::after_restart) return find_threshold(module);
    set_threshold(module);
    override_setting(module, options.setting_file);
    move_formula(module);
    apply_setting(module, options.setting_file);
}

}  // namespace
}  // namespace mox::examples

int main(int argc, char** argv) {
    // Line by line also into a pipe: a listener's first line tells that it is ready.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    const auto options = mox::examples::parse_step_options(argc, argv);
    if (!options) return 2;
    try {
        mox::examples::run(*options);
        return EXIT_SUCCESS;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "value_steps: %s\n", problem.what());
        return EXIT_FAILURE;
    }
}

// An hour of ordinary work of four modules and an owner, as fast as it goes (soak_parts.hpp says
// what an hour is; --short does a twenty-fourth of it). The work is cut in slices; after each of
// the last ten, when nobody does anything, the pool, the descriptors, the System V objects and the
// heaps are looked at: what is counted must be the same each time, and no heap may grow.
//
// A heap is what the allocator of a process has handed out. A message under way is in it, so growth
// is told by the trend: the highest of the last quarter of the samples must not be above the
// highest of the second quarter by more than 16 KiB.
#include <moxhost/operator.h>

#include <algorithm>
#include <iterator>
#include <memory>

#include "../run_options.hpp"
#include "owner_heap.hpp"
#include "shared_page.hpp"
#include "soak_parts.hpp"

namespace mox::test {
namespace {

constexpr int kSettlingSlices = 2;
constexpr int kSamples = 10;
constexpr std::uint64_t kMostGrowth = 16 * 1024;
// The allocator gives up to 16 bytes more than it was asked for when the rest of a gap would be no
// block. A guest that listened has its class's listener list made anew without it: three
// properties of three blocks each.
constexpr std::uint64_t kMostRounding = 9 * 16;
// Listener lists that guests left behind go back to the pool within six seconds.
constexpr std::chrono::seconds kMostForReturn{12};
// A slice of the long run on a machine that does other things, too.
constexpr std::chrono::seconds kMostForASlice{120};

// What must be the same at each sample.
struct Counted {
    std::uint64_t pool_requested = 0;  // bytes, of all objects and classes
    std::uint64_t pool_blocks = 0;
    std::uint64_t removed = 0;
    std::vector<std::uint64_t> descriptors;  // of the owner, then the modules
    int system_v = 0;
    bool operator==(const Counted&) const = default;

    std::string text() const {
        std::string text =
            "pool " + std::to_string(pool_blocks) + " blocks, " + std::to_string(pool_requested) +
            " bytes for objects and classes, removed objects " + std::to_string(removed) +
            ", System V objects " + std::to_string(system_v) + ", descriptors";
        for (const std::uint64_t count : descriptors) text += " " + std::to_string(count);
        return text;
    }
};

std::uint64_t descriptors_of(pid_t process) {
    const std::filesystem::directory_iterator list("/proc/" + std::to_string(process) + "/fd");
    return static_cast<std::uint64_t>(std::distance(begin(list), end(list)));
}

// System V objects that are not removed yet. The segment stays in the list, marked as removed, as
// long as this process has it mapped.
int system_v_objects_left() {
    constexpr unsigned kRemoved = 01000;
    std::ifstream list("/proc/sysvipc/shm");
    std::string line;
    std::getline(list, line);
    int removed = 0;
    std::string key;
    std::string id;
    unsigned mode = 0;
    while (list >> key >> id >> std::oct >> mode && std::getline(list, line)) {
        if ((mode & kRemoved) != 0) ++removed;
    }
    return system_v_objects() - removed;
}

class Soak {
public:
    explicit Soak(const RunOptions& options)
        : is_short_(options.is_short),
          slice_writes_(kWritesAnHour / (is_short_ ? 24 : 1) / kSamples),
          slice_joins_(is_short_ ? 1 : kJoinsAnHour / kSamples) {
        if (!owner_.start(soak_profile(owner_))) {
            broken("moxd does not start: " + owner_.process().errors());
        }
        OwnerHeap::stop_preloading();
        for (std::size_t number = 0; number < kWorkers; ++number) {
            start("worker" + std::to_string(number),
                  [this, number] { play_worker(owner_, number, *pages_); });
        }
        start("joiners", [this] { play_joiners(owner_, *pages_); });
        quiet_ = std::make_unique<QuietOutput>(owner_.dir().path("watcher.log"));
        module_ = join_owner(owner_, "watcher", MODULE_INTERFACE);
    }

    void run() {
        for (int slice = 0; slice < kSettlingSlices; ++slice) work_a_slice();
        for (int sample = 0; sample < kSamples; ++sample) {
            // In the short run the last guests listen, and their lists are waited for once.
            pages_->joiners.are_listening = !is_short_ || sample == kSamples - 1;
            work_a_slice();
            if (sample == 0) wait_for_return();
            take_sample();
            std::fprintf(stderr, "soak: sample %d of %d: %s\n", sample + 1, kSamples,
                         counted_.back().text().c_str());
        }
        check_heaps();
    }

    void end() {
        pages_->is_over = true;
        for (const auto& part : parts_) part->finish();
        moxhost_leave(module_);
        quiet_.reset();
        const int status = owner_.stop();
        require(status == 0, "moxd ended with status " + std::to_string(status) + ": " +
                                 owner_.process().errors());
        const int left = system_v_objects_left();
        require(left == 0, std::to_string(left) + " System V objects are left behind");
    }

    void print_figures() const {
        WorkerPage all{};
        for (const WorkerPage& page : pages_->workers) {
            all.written += page.written;
            all.reads += page.reads;
            all.overrides += page.overrides;
            all.plugs += page.plugs;
            all.refreshes += page.refreshes;
            all.saves += page.saves;
            all.events += page.events;
        }
        require(all.events != 0 && all.plugs != 0 && all.saves != 0, "a part did nothing");
        const std::string head = is_short_ ? "soak, 1/24 of an hour's work: "
                                           : "soak, an hour's work and two settling slices: ";
        print_row(head + "writes, reads, refreshes, overrides, saves, plugs, joins",
                  std::to_string(all.written) + ", " + std::to_string(all.reads) + ", " +
                      std::to_string(all.refreshes) + ", " + std::to_string(all.overrides) + ", " +
                      std::to_string(all.saves) + ", " + std::to_string(all.plugs) + ", " +
                      std::to_string(pages_->joiners.joined));
        print_row(head + "events received", std::to_string(all.events));
        print_row(head + "first sample", counted_.front().text());
        print_row(head + "samples equal to the first",
                  std::to_string(counted_.size()) + " of " + std::to_string(counted_.size()));
        print_row(
            head + "pool bytes used with rounding, least and most of the samples",
            std::to_string(*std::min_element(pool_samples_.begin(), pool_samples_.end())) + ", " +
                std::to_string(*std::max_element(pool_samples_.begin(), pool_samples_.end())));
        for (const auto& [name, samples] : heaps_) {
            print_row(head + "heap of " + name + ", KiB at first, highest, at last",
                      std::to_string(samples.front() / 1024) + ", " +
                          std::to_string(*std::max_element(samples.begin(), samples.end()) / 1024) +
                          ", " + std::to_string(samples.back() / 1024));
        }
    }

private:
    void start(const std::string& name, const std::function<void()>& body) {
        parts_.push_back(std::make_unique<Part>(name, owner_.dir().path(name + ".log"), body));
    }

    // Handles messages until the answer is true or the time is over.
    bool within(std::chrono::seconds most, const std::function<bool()>& is_true) {
        const auto end = std::chrono::steady_clock::now() + most;
        while (!is_true()) {
            run_waiting();
            for (const auto& part : parts_) part->require_running();
            if (std::chrono::steady_clock::now() > end) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds{5});
        }
        return true;
    }

    void work_a_slice() {
        for (WorkerPage& page : pages_->workers) page.wanted += slice_writes_;
        pages_->joiners.wanted += slice_joins_;
        const bool is_done = within(kMostForASlice, [this] {
            return pages_->joiners.joined == pages_->joiners.wanted &&
                   std::all_of(pages_->workers.begin(), pages_->workers.end(),
                               [](const WorkerPage& page) { return page.written == page.wanted; });
        });
        require(is_done, "a slice of the work is not done in time");
    }

    // Until every message is taken, every guest forgotten and every replaced list freed.
    // The first sample is taken then, so that the later ones can come back to it.
    void wait_for_return() {
        Counted last = count();
        auto same_since = std::chrono::steady_clock::now();
        const bool is_quiet = within(2 * kMostForReturn, [&] {
            const Counted now = count();
            if (!(now == last)) {
                last = now;
                same_since = std::chrono::steady_clock::now();
            }
            const auto quiet = std::chrono::steady_clock::now() - same_since;
            return queued() == 0 && quiet > std::chrono::seconds{is_short_ ? 1 : 7};
        });
        require(is_quiet, "the counts do not come to rest: " + last.text());
    }

    std::uint64_t queued() {
        GError* error = nullptr;
        MoxHostModuleInfo* const infos = moxhost_module_infos(module_, nullptr, &error);
        require_done(infos != nullptr, error, "the list of modules");
        std::uint64_t count = 0;
        for (const MoxHostModuleInfo* info = infos; info->name[0] != '\0'; ++info) {
            count += info->queued;
        }
        g_free(infos);
        return count;
    }

    Counted count() {
        GError* error = nullptr;
        require_done(moxhost_refresh(module_, &error), error, "a refresh");
        MoxHostPoolInfo pool = {};
        require_done(moxhost_pool_info(module_, &pool, &error), error, "the pool's use");
        pool_used_ = pool.used;
        Counted counted{
            pool.objects + pool.classes, pool.blocks, pool.removed, {}, system_v_objects()};
        counted.descriptors.push_back(descriptors_of(owner_.process().pid()));
        for (std::size_t number = 0; number < kWorkers; ++number) {
            counted.descriptors.push_back(descriptors_of(parts_[number]->pid()));
        }
        return counted;
    }

    void take_sample() {
        Counted counted = count();
        if (!counted_.empty()) {
            const bool is_still = within(kMostForReturn, [&] {
                counted = count();
                return queued() == 0 && counted == counted_.front();
            });
            require(is_still || !(counted == counted_.front()), "messages stay in the queues");
            require(counted == counted_.front(),
                    "growth: first " + counted_.front().text() + "; now " + counted.text());
        }
        counted_.push_back(counted);
        pool_samples_.push_back(pool_used_);
        require(pool_used_ <= pool_samples_.front() + kMostRounding,
                "the pool used " + std::to_string(pool_samples_.front()) + " bytes and uses " +
                    std::to_string(pool_used_));
        for (WorkerPage& page : pages_->workers) ++page.samples_wanted;
        require(within(kMostForReturn,
                       [this] {
                           return std::all_of(pages_->workers.begin(), pages_->workers.end(),
                                              [](const WorkerPage& page) {
                                                  return page.samples == page.samples_wanted;
                                              });
                       }),
                "a module does not tell its heap");
        heaps_.resize(1 + kWorkers);
        heaps_[0].first = "moxd";
        heaps_[0].second.push_back(owner_heap_.bytes());
        for (std::size_t number = 0; number < kWorkers; ++number) {
            heaps_[number + 1].first = "module " + std::to_string(number);
            heaps_[number + 1].second.push_back(pages_->workers[number].heap_bytes);
        }
    }

    void check_heaps() const {
        for (const auto& [name, samples] : heaps_) {
            const auto quarter = static_cast<std::ptrdiff_t>((samples.size() + 3) / 4);
            const std::uint64_t second =
                *std::max_element(samples.begin() + quarter, samples.begin() + 2 * quarter);
            const std::uint64_t last = *std::max_element(samples.end() - quarter, samples.end());
            std::string all;
            for (const std::uint64_t sample : samples) all += " " + std::to_string(sample);
            std::fprintf(stderr, "soak: heap of %s:%s\n", name.c_str(), all.c_str());
            require(last <= second + kMostGrowth, "the heap of " + name + " grows:" + all);
        }
    }

    HostOwner owner_;
    OwnerHeap owner_heap_{owner_.dir().path("heap")};
    SharedPage<SoakPages> pages_;
    bool is_short_;
    std::uint64_t slice_writes_;
    std::uint64_t slice_joins_;
    std::vector<std::unique_ptr<Part>> parts_;
    std::unique_ptr<QuietOutput> quiet_;
    MoxHostModule* module_ = nullptr;
    std::vector<Counted> counted_;
    std::uint64_t pool_used_ = 0;  // at the last count, the allocator's rounding included
    std::vector<std::uint64_t> pool_samples_;
    std::vector<std::pair<std::string, std::vector<std::uint64_t>>> heaps_;
};

}  // namespace
}  // namespace mox::test

int main(int argc, char** argv) {
    mox::test::allocate_without_caches(argv);
    mox::test::Soak soak(mox::test::begin_run(argc, argv));
    soak.run();
    soak.end();
    soak.print_figures();
    return 0;
}

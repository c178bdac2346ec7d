// A writer, three listeners and the owner, each a process of its own; the listener in the middle
// stops taking its messages, once because it is stopped and once because it never runs its loop.
// Shown: no write takes longer than 1 s, the writer and the listener that listened later miss
// nothing by it, the one that listened earlier misses exactly what the full queue refused, each
// loss is counted for its receiver, received and lost add up to what was sent, and all goes on as
// before once the listener takes its messages again.
#include <moxhost/operator.h>

#include <csignal>
#include <map>
#include <memory>

#include "../run_options.hpp"
#include "queue_parts.hpp"
#include "shared_page.hpp"
#include "write_times.hpp"

namespace mox::test {
namespace {

constexpr const char* kProfile = R"({
  "refresh_ms": 3600000,
  "classes": [
    {"name": "Fan", "module": "writer", "properties": [{"name": "Speed", "type": "u"}]},
    {"name": "Probe", "properties": [{"name": "Level", "type": "u"}]}
  ],
  "objects": [{"name": "Main", "class": "Fan", "properties": {"Speed": 0}}],
  "boards": [{"name": "probes", "position": 7, "plugged": false, "objects": [
      {"name": "Probe1", "class": "Probe", "properties": {"Level": 1}},
      {"name": "Probe2", "class": "Probe", "properties": {"Level": 2}}]}]
})";

// Writes that the listeners are let take before the next ones: far less than a queue holds.
constexpr std::uint64_t kBatch = 50;

struct Lengths {
    std::uint64_t paced;
    std::uint64_t flood;
    int plugs;
};

class QueueStage {
public:
    QueueStage() {
        if (!owner_.start(kProfile)) broken("moxd does not start: " + owner_.process().errors());
        for (std::size_t who = 0; who < kListeners; ++who) {
            ListenerPage& page = pages_->listeners[who];
            start(kListenerNames[who],
                  [this, who, &page] { play_listener(owner_, kListenerNames[who], page); });
        }
        start("writer", [this] { play_writer(owner_, pages_->writer); });
        quiet_ = std::make_unique<QuietOutput>(owner_.dir().path("watcher.log"));
        module_ = join_owner(owner_, "watcher", MODULE_INTERFACE);
        for (ListenerPage& page : pages_->listeners) {
            page.step = Step::kListen;
            await([&page] { return page.is_listening.load(); }, "a listener listens");
        }
    }

    ListenerPage& page(Who who) { return pages_->listeners[who]; }
    pid_t pid(Who who) const { return parts_[who]->pid(); }
    const HostOwner& owner() const { return owner_; }
    std::uint64_t events_sent() const { return events_sent_; }
    std::uint64_t sent() const { return events_sent_ + notices_sent_; }

    void await(const std::function<bool()>& is_true, const std::string& what) {
        std::vector<Part*> parts;
        for (const auto& part : parts_) parts.push_back(part.get());
        wait_for(is_true, parts, what);
    }

    // Has so many values written as fast as it goes.
    void write(std::uint64_t count) {
        events_sent_ += count;
        pages_->writer.wanted = events_sent_;
        await([this] { return pages_->writer.written == events_sent_; }, "the writes are done");
    }

    // The same, with a listener that has to see each of them.
    void write_at_pace_of(Who who, std::uint64_t count) {
        while (count > 0) {
            const std::uint64_t batch = std::min(count, kBatch);
            const std::uint64_t before = page(who).events;
            write(batch);
            await([&] { return page(who).events == before + batch; },
                  kListenerNames[who] + " gets every event");
            count -= batch;
        }
    }

    // Of the writes since the last call; no write took longer than its bound.
    Times take_times() {
        pages_->writer.wants_times = true;
        await([this] { return !pages_->writer.wants_times; }, "the writer's times are there");
        const Times times{pages_->writer.median, pages_->writer.most};
        require(times.most <= kMostForAWrite, "a write took " + text_of(times));
        return times;
    }

    // One plug and one unplug: two notices for each listener.
    void plug_and_unplug() {
        GError* error = nullptr;
        plug_times_.measure(
            [&] { require_done(moxhost_plug_board(module_, "probes", &error), error, "plug"); });
        plug_times_.measure([&] {
            require_done(moxhost_unplug_board(module_, "probes", nullptr, &error), error, "unplug");
        });
        notices_sent_ += 2;
        run_waiting();
    }
    Times take_plug_times() { return plug_times_.take(); }

    // Lost messages of each module, as the owner tells.
    std::map<std::string, std::uint64_t> losses() {
        GError* error = nullptr;
        MoxHostModuleInfo* const infos = moxhost_module_infos(module_, nullptr, &error);
        require_done(infos != nullptr, error, "the list of modules");
        std::map<std::string, std::uint64_t> losses;
        for (const MoxHostModuleInfo* info = infos; info->name[0] != '\0'; ++info) {
            losses[info->name] = info->events_lost;
        }
        g_free(infos);
        return losses;
    }
    std::uint64_t lost(Who who) { return losses()[kListenerNames[who]]; }

    // Received and lost are what was sent, and stay so.
    void expect_exact(Who who) {
        const auto accounted = [&] { return page(who).events + page(who).notices + lost(who); };
        await([&] { return accounted() >= sent(); },
              kListenerNames[who] + ": received and lost add up to what was sent");
        require(accounted() == sent(), kListenerNames[who] + " was sent " + std::to_string(sent()) +
                                           " messages; received and lost are " +
                                           std::to_string(accounted()));
        await([&] { return page(who).lost == lost(who); },
              kListenerNames[who] + " is told its own losses");
        require(!page(who).is_out_of_order, kListenerNames[who] + " got events out of order");
    }

    void end() {
        for (ListenerPage& page : pages_->listeners) page.step = Step::kLeave;
        pages_->writer.is_over = true;
        for (const auto& part : parts_) part->finish();
        moxhost_leave(module_);
        quiet_.reset();
        const int status = owner_.stop();
        require(status == 0, "moxd ended with status " + std::to_string(status) + ": " +
                                 owner_.process().errors());
    }

private:
    void start(const std::string& name, const std::function<void()>& body) {
        parts_.push_back(std::make_unique<Part>(name, owner_.dir().path(name + ".log"), body));
    }

    HostOwner owner_;
    SharedPage<QueuePages> pages_;
    std::vector<std::unique_ptr<Part>> parts_;
    std::unique_ptr<QuietOutput> quiet_;
    MoxHostModule* module_ = nullptr;
    std::uint64_t events_sent_ = 0;
    std::uint64_t notices_sent_ = 0;
    WriteTimes plug_times_;
};

// One of the two ways in which a listener stops taking its messages.
struct Way {
    const char* name;
    std::function<void(QueueStage&)> stop;
    std::function<void(QueueStage&)> go_on;
};

std::string of(std::uint64_t count, std::uint64_t all) {
    return std::to_string(count) + " of " + std::to_string(all);
}

struct Row {
    std::string what;
    std::string figure;
};

// With the queue full from the first to the last write: the rule, to the message.
void write_past_full_queue(QueueStage& stage, const Lengths& lengths, std::vector<Row>& rows) {
    auto before = stage.losses();
    stage.write_at_pace_of(kLater, lengths.paced);
    const Times times = stage.take_times();
    auto after = stage.losses();
    const auto lost = [&](Who who) {
        return after[kListenerNames[who]] - before[kListenerNames[who]];
    };
    require(lost(kLater) == 0 && lost(kStuck) == lengths.paced && lost(kEarlier) == lengths.paced,
            "with a full queue " + std::to_string(lengths.paced) + " events cost the later one " +
                std::to_string(lost(kLater)) + ", the full one " + std::to_string(lost(kStuck)) +
                ", the earlier one " + std::to_string(lost(kEarlier)));
    rows.push_back({"a write past the full queue", text_of(times)});
    rows.push_back(
        {"events past the full queue that the newer, the full, the older listener missed",
         "0, " + of(lost(kStuck), lengths.paced) + ", " + of(lost(kEarlier), lengths.paced)});
}

// As fast as it goes, so that the others' queues may be full at times, too: who is told later
// never loses less.
void flood(QueueStage& stage, const Lengths& lengths, std::vector<Row>& rows) {
    stage.write(lengths.flood);
    rows.push_back({"a write as fast as it goes, queues full", text_of(stage.take_times())});
    stage.expect_exact(kLater);
    stage.expect_exact(kEarlier);
    require(stage.lost(kLater) <= stage.lost(kStuck) && stage.lost(kStuck) <= stage.lost(kEarlier),
            "a listener that is told earlier lost more than one that is told later");
}

// Notices go to each queue by itself: the full one alone misses them.
void plug_past_full_queue(QueueStage& stage, const Lengths& lengths, std::vector<Row>& rows) {
    auto before = stage.losses();
    for (int count = 0; count < lengths.plugs; ++count) stage.plug_and_unplug();
    const Times times = stage.take_plug_times();
    require(times.most <= kMostForAWrite, "a plug took " + text_of(times));
    stage.expect_exact(kLater);
    stage.expect_exact(kEarlier);
    auto after = stage.losses();
    const std::uint64_t missed = after["stuck"] - before["stuck"];
    require(
        after["later"] == before["later"] && after["earlier"] == before["earlier"] && missed > 0,
        "notices past a full queue were lost for others than the full one");
    const auto notices = static_cast<std::uint64_t>(2 * lengths.plugs);
    rows.push_back(
        {"plug and unplug notices past the full queue that the newer, the full, the "
         "older listener missed",
         "0, " + of(missed, notices) + ", 0"});
    rows.push_back({"a plug or unplug past the full queue", text_of(times)});
}

// Everybody gets everything again, and what the full queue held is still there.
void recover(QueueStage& stage, const Lengths& lengths, std::vector<Row>& rows) {
    for (const Who who : {kLater, kStuck, kEarlier}) stage.expect_exact(who);
    const auto before = stage.losses();
    for (std::uint64_t done = 0; done < lengths.paced; done += kBatch) {
        stage.write(kBatch);
        for (const Who who : {kLater, kStuck, kEarlier}) stage.expect_exact(who);
    }
    stage.plug_and_unplug();
    for (const Who who : {kLater, kStuck, kEarlier}) stage.expect_exact(who);
    require(stage.losses() == before, "messages are lost though every listener takes them");
    for (const Who who : {kLater, kStuck, kEarlier}) {
        const std::uint64_t got = stage.page(who).events + stage.page(who).notices;
        rows.push_back({"the " + kListenerNames[who] + " listener: sent = received + lost",
                        std::to_string(stage.sent()) + " = " + std::to_string(got) + " + " +
                            std::to_string(stage.lost(who))});
    }
}

// What an operator is shown of each listener.
void expect_shown(QueueStage& stage) {
    const std::filesystem::path output = stage.owner().dir().path("queues");
    ChildProcess moxctl{{MOXCTL_PATH, "queues", "--run-dir", stage.owner().run_dir()},
                        output,
                        stage.owner().dir().path("queues.errors")};
    const int status = moxctl.wait();
    require(status == 0, "moxctl queues failed: " + moxctl.errors());
    for (const Who who : {kLater, kStuck, kEarlier}) {
        std::istringstream lines{moxctl.output()};
        std::string line;
        while (std::getline(lines, line) && line.rfind(kListenerNames[who] + ' ', 0) != 0) {
        }
        const std::string count = line.substr(line.find_last_of(' ') + 1);
        require(count == std::to_string(stage.lost(who)),
                "moxctl queues shows for " + kListenerNames[who] + ": " + line);
    }
}

std::vector<Row> play(const Way& way, const Lengths& lengths) {
    std::fprintf(stderr, "full_queues: the listener %s\n", way.name);
    std::vector<Row> rows;
    QueueStage stage;
    stage.write_at_pace_of(kLater, lengths.paced);
    for (const Who who : {kLater, kStuck, kEarlier}) stage.expect_exact(who);
    require(stage.lost(kStuck) == 0, "events are lost though every listener takes them");
    rows.push_back({"a write with three listeners", text_of(stage.take_times())});
    way.stop(stage);
    while (stage.lost(kStuck) == 0) stage.write_at_pace_of(kLater, kBatch);
    stage.take_times();
    write_past_full_queue(stage, lengths, rows);
    flood(stage, lengths, rows);
    plug_past_full_queue(stage, lengths, rows);
    way.go_on(stage);
    recover(stage, lengths, rows);
    expect_shown(stage);
    stage.end();
    return rows;
}

int run(const RunOptions& options) {
    const Lengths lengths = options.is_short ? Lengths{1000, 5000, 20} : Lengths{5000, 50000, 100};
    const Way ways[] = {
        {"is stopped (SIGSTOP)", [](QueueStage& stage) { kill(stage.pid(kStuck), SIGSTOP); },
         [](QueueStage& stage) { kill(stage.pid(kStuck), SIGCONT); }},
        {"does not run its loop", [](QueueStage& stage) { stage.page(kStuck).is_idle = true; },
         [](QueueStage& stage) { stage.page(kStuck).is_idle = false; }},
    };
    // Each way in a process of its own: a process joins once in its life.
    for (const Way& way : ways) {
        const pid_t child = fork();
        if (child == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            for (const Row& row : play(way, lengths)) {
                print_row(std::string("full queue, the listener ") + way.name + ": " + row.what,
                          row.figure);
            }
            _exit(0);
        }
        int status = -1;
        waitpid(child, &status, 0);
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return 1;
    }
    return 0;
}

}  // namespace
}  // namespace mox::test

int main(int argc, char** argv) {
    return mox::test::run(mox::test::begin_run(argc, argv));
}

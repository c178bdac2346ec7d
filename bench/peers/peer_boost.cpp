// The number is found by name in a managed shared memory, with a mutex beside it; a change is
// stored there and goes to a message queue of each listener, which names what has changed.
#include <boost/interprocess/ipc/message_queue.hpp>
#include <boost/interprocess/managed_shared_memory.hpp>
#include <boost/interprocess/sync/interprocess_mutex.hpp>
#include <boost/interprocess/sync/scoped_lock.hpp>
#include <cstring>
#include <memory>
#include <vector>

#include "rounds.hpp"

namespace {

using namespace mox::peers;
namespace ipc = boost::interprocess;

constexpr char kName[] = "Fan1.Speed";
constexpr std::size_t kQueueLength = 1600;

struct Number {
    ipc::interprocess_mutex mutex;
    std::int32_t value = kFirstValue;
};

struct Event {
    char object[32];
    char property[32];
    std::int32_t value;
};

class BoostPeer : public Peer {
public:
    void prepare(const Setting& setting) override {
        require(!setting.place.empty(), "PLACE, the name of the shared memory, is missing");
        name_ = setting.place;
        listeners_ = setting.listeners;
    }

    void open_owner(Exchange&) override {
        memory_ =
            std::make_unique<ipc::managed_shared_memory>(ipc::create_only, name_.c_str(), 1U << 20);
        memory_->construct<Number>(kName)();
        for (int at = 0; at < listeners_; ++at) {
            queues_.push_back(std::make_unique<ipc::message_queue>(
                ipc::create_only, queue_name(at).c_str(), kQueueLength, sizeof(Event)));
        }
    }

    void change(std::int32_t value) override {
        {
            Number& number = found();
            const ipc::scoped_lock<ipc::interprocess_mutex> lock(number.mutex);
            number.value = value;
        }
        Event event = {"Fan1", "Speed", value};
        for (const auto& queue : queues_) {
            queue->send(&event, sizeof(event), 0);
        }
    }

    void open_listener(Exchange&, int number) override {
        memory_ = std::make_unique<ipc::managed_shared_memory>(ipc::open_only, name_.c_str());
        queues_.push_back(
            std::make_unique<ipc::message_queue>(ipc::open_only, queue_name(number).c_str()));
    }

    std::int32_t next_change() override {
        Event event = {};
        std::size_t size = 0;
        unsigned priority = 0;
        queues_.front()->receive(&event, sizeof(event), size, priority);
        require(size == sizeof(event), "an event of another size came");
        return event.value;
    }

    std::int32_t read() override {
        Number& number = found();
        const ipc::scoped_lock<ipc::interprocess_mutex> lock(number.mutex);
        return number.value;
    }

    int reads_per_sample() const override { return 1000; }

    void clean() override {
        ipc::shared_memory_object::remove(name_.c_str());
        for (int at = 0; at < listeners_; ++at) {
            ipc::message_queue::remove(queue_name(at).c_str());
        }
    }

private:
    std::string queue_name(int number) const { return name_ + "-queue" + std::to_string(number); }

    Number& found() const {
        Number* number = memory_->find<Number>(kName).first;
        require(number != nullptr, "the number is not in the shared memory");
        return *number;
    }

    std::string name_;
    int listeners_ = 0;
    std::unique_ptr<ipc::managed_shared_memory> memory_;
    std::vector<std::unique_ptr<ipc::message_queue>> queues_;
};

}  // namespace

int main(int argc, char** argv) {
    BoostPeer peer;
    return run(argc, argv, peer);
}

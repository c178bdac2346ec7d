// The number is a property of an object on D-Bus; a change is a signal with the new value. Without
// a PLACE owner and listener are connected directly, by a pair of sockets; with the address of a
// bus both are its clients.
#include <systemd/sd-bus.h>

#include <cstring>
#include <memory>
#include <vector>

#include "rounds.hpp"
#include "socket_pairs.hpp"

namespace {

using namespace mox::peers;

constexpr char kName[] = "local.Peer";
constexpr char kPath[] = "/Fan1";
constexpr char kInterface[] = "local.Sensor";
constexpr char kProperty[] = "Speed";
constexpr char kSignal[] = "SpeedChanged";
constexpr int kBatch = 64;

struct ReleaseBus {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
};
using Bus = std::unique_ptr<sd_bus, ReleaseBus>;

void good(int result, const char* what) {
    if (result < 0) fail(std::string(what) + ": " + std::strerror(-result));
}

const sd_bus_vtable kSensor[] = {SD_BUS_VTABLE_START(0),
                                 SD_BUS_PROPERTY("Speed", "i", nullptr, 0, 0),
                                 SD_BUS_SIGNAL("SpeedChanged", "i", 0), SD_BUS_VTABLE_END};

class SdbusPeer : public Peer {
public:
    void prepare(const Setting& setting) override {
        setting_ = setting;
        if (is_direct()) {
            sockets_.make(setting.listeners);
        }
    }

    void open_owner(Exchange&) override {
        if (!is_direct()) {
            buses_.push_back(client_of_bus());
        }
        for (std::size_t at = 0; at < sockets_.count(); ++at) {
            buses_.push_back(direct(sockets_.owners_end(at), true));
        }
        for (const Bus& bus : buses_) {
            good(sd_bus_add_object_vtable(bus.get(), nullptr, kPath, kInterface, kSensor, &value_),
                 "the property cannot be shown");
        }
        if (!is_direct()) {
            good(sd_bus_request_name(buses_.front().get(), kName, 0), "no name on the bus");
        }
    }

    void meet_listeners() override {
        for (const Bus& bus : buses_) {
            wait_until_ready(bus.get());
        }
    }

    void change(std::int32_t value) override {
        value_ = value;
        for (const Bus& bus : buses_) {
            good(sd_bus_emit_signal(bus.get(), kPath, kInterface, kSignal, "i", value),
                 "the signal was not sent");
        }
    }

    // A signal that the socket has no room for waits in the connection's own queue.
    void change_in_stream(std::int32_t value) override {
        change(value);
        if (value % kBatch == 0) {
            flush();
        }
    }

    void flush() override {
        for (const Bus& bus : buses_) {
            good(sd_bus_flush(bus.get()), "the signals were not sent");
        }
    }

    void answer() override {
        for (;;) {
            process_or_wait();
        }
    }

    void open_listener(Exchange&, int number) override {
        buses_.push_back(
            is_direct() ? direct(sockets_.listeners_end(static_cast<std::size_t>(number)), false)
                        : client_of_bus());
        wait_until_ready(buses_.front().get());
        if (!setting_.is_read) {
            good(sd_bus_match_signal(buses_.front().get(), nullptr, nullptr, kPath, kInterface,
                                     kSignal, take_change, this),
                 "the signal cannot be listened to");
        }
    }

    std::int32_t next_change() override {
        while (!is_there_) {
            process_or_wait();
        }
        is_there_ = false;
        return value_;
    }

    std::int32_t read() override {
        std::int32_t value = 0;
        good(sd_bus_get_property_trivial(buses_.front().get(), is_direct() ? nullptr : kName, kPath,
                                         kInterface, kProperty, nullptr, 'i', &value),
             "the property cannot be read");
        return value;
    }

private:
    bool is_direct() const { return setting_.place.empty(); }

    static Bus direct(int socket, bool is_server) {
        sd_bus* bus = nullptr;
        good(sd_bus_new(&bus), "no connection");
        Bus owned(bus);
        good(sd_bus_set_fd(bus, socket, socket), "no socket in the connection");
        if (is_server) {
            sd_id128_t id{};
            good(sd_id128_randomize(&id), "no id for the connection");
            good(sd_bus_set_server(bus, 1, id), "no server's connection");
        }
        good(sd_bus_start(bus), "the connection does not start");
        return owned;
    }

    Bus client_of_bus() const {
        sd_bus* bus = nullptr;
        good(sd_bus_new(&bus), "no connection");
        Bus owned(bus);
        good(sd_bus_set_address(bus, setting_.place.c_str()), "not an address of a bus");
        good(sd_bus_set_bus_client(bus, 1), "no client's connection");
        good(sd_bus_start(bus), "the connection to the bus does not start");
        return owned;
    }

    static void wait_until_ready(sd_bus* bus) {
        int is_ready = sd_bus_is_ready(bus);
        while (is_ready == 0) {
            const int has_worked = sd_bus_process(bus, nullptr);
            good(has_worked, "the connection was not made");
            is_ready = sd_bus_is_ready(bus);
            if (has_worked == 0 && is_ready == 0) {
                good(sd_bus_wait(bus, UINT64_MAX), "the connection was not made");
            }
        }
        good(is_ready, "the connection was not made");
    }

    // Works on what has come to the first connection, or sleeps until something does.
    void process_or_wait() {
        const int has_worked = sd_bus_process(buses_.front().get(), nullptr);
        good(has_worked, "the connection failed");
        if (has_worked == 0) {
            good(sd_bus_wait(buses_.front().get(), UINT64_MAX), "the connection failed");
        }
    }

    static int take_change(sd_bus_message* message, void* peer, sd_bus_error*) {
        auto* self = static_cast<SdbusPeer*>(peer);
        const int result = sd_bus_message_read(message, "i", &self->value_);
        self->is_there_ = result > 0;
        return result < 0 ? result : 0;
    }

    Setting setting_;
    SocketPairs sockets_;
    std::vector<Bus> buses_;  // the owner's: one for each direct listener
    std::int32_t value_ = kFirstValue;
    bool is_there_ = false;
};

}  // namespace

int main(int argc, char** argv) {
    SdbusPeer peer;
    return run(argc, argv, peer);
}

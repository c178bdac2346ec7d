// The number is a property of an object in the pool. A reader attaches the pool and reads the
// property by handle. A change is the owner's write, which stores the value and sends the event to
// the queue of each listener.
//
// A full queue loses an event, and the library tells who sends of that: such a change waits a
// moment and is announced again, so that all of a stream arrive.
#include <classnode.h>
#include <ipcmsg.h>
#include <lom.h>
#include <moxplat/osal.h>
#include <pub.h>
#include <shmem.h>
#include <time.h>

#include <cstdio>
#include <cstring>

#include "ipc_namespace.hpp"
#include "rounds.hpp"

namespace {

using namespace mox::peers;

constexpr char kClass[] = "Sensor";
constexpr char kObject[] = "Fan1";
constexpr char kProperty[] = "Speed";
constexpr gint32 kReaderId = 3;
constexpr long kFullQueueNs = 50000;

gint32 lost_because = MOX_OK;

void note_lost(gint32, guint32, gint32 result) {
    lost_because = result;
}

void wait_a_moment() {
    const timespec moment{0, kFullQueueNs};
    nanosleep(&moment, nullptr);
}

class MoxbasePeer : public Peer {
public:
    void prepare(const Setting& setting) override {
        listeners_ = setting.listeners;
        const std::string failure = mox::test::enter_ipc_namespace();
        if (!failure.empty()) fail("no System V namespace: " + failure);
        require(g_setenv(SHM_SIZE_VARIABLE, "8", TRUE) != FALSE, "no environment");
    }

    void open_owner(Exchange& exchange) override {
        pub_log_init(nullptr, "peer_moxbase");
        shm_owned_shmem();
        require(shm_create() == MOX_OK, "no pool");
        lom_set_sem_func(osal_process_sem_create, osal_process_sem_free);
        cls_create_class(kClass);
        make_object();
        guint32 size = 0;
        gpointer copy = nullptr;
        require(lom_copy_object(kObject, &size, &copy, kReaderId, FALSE) == MOX_OK &&
                    size <= sizeof(exchange.record),
                "the object cannot be copied");
        std::memcpy(exchange.record, copy, size);
        exchange.record_size = size;
        g_free(copy);
    }

    void begin(const Exchange& exchange) override {
        require(osal_process_queue_create(&queue_) == OSAL_OK, "no queue for the owner");
        ipc_msg_set_port(queue_);
        ipc_msg_set_lost_func(note_lost);
        for (int at = 0; at < listeners_; ++at) {
            cls_add_listener_port(cls_get_class(kClass), kProperty, exchange.word_of_listener[at],
                                  kMostListeners);
        }
    }

    void change(std::int32_t value) override {
        lost_because = MOX_OK;
        GVariant* const number = g_variant_ref_sink(g_variant_new_int32(value));
        require(
            lom_set_property_value(object_, kProperty, number, PER_MODE_NOSUPPORT, FALSE) == MOX_OK,
            "the write failed");
        while (lost_because != MOX_OK) {
            require(lost_because == OSAL_ERR_FULL, "the event was not sent");
            wait_a_moment();
            lost_because = MOX_OK;
            lom_property_event(object_, kProperty, number, TRUE);
        }
        g_variant_unref(number);
    }

    void open_listener(Exchange& exchange, int number) override {
        pub_log_init(nullptr, "peer_moxbase");
        shm_app_init();
        object_ = lom_create_object(static_cast<guint32>(exchange.record_size), exchange.record);
        require(object_ != 0, "the object cannot be published in the listener");
        require(osal_process_queue_create(&queue_) == OSAL_OK, "no queue for the listener");
        exchange.word_of_listener[number] = queue_;
    }

    std::int32_t next_change() override {
        const gint32 got = osal_process_queue_receive(queue_, &message_, sizeof(message_), 1);
        MSG_EVENT_DATA_HEAD_S event;
        std::int32_t value = 0;
        if (got < 0) fail(std::string("no message: ") + osal_error_text(got));
        require(message_.head.msg_type == MOX_MSG_PROPERTY_EVENT &&
                    message_.head.length >= kEventHead + sizeof(value),
                "another message came than a property's event");
        std::memcpy(&event, message_.data, kEventHead);
        require(event.size == sizeof(value), "the event's value has another size");
        std::memcpy(&value, message_.data + kEventHead, sizeof(value));
        return value;
    }

    // Into a number of the caller's, as all of the others are read.
    std::int32_t read() override {
        std::int32_t number = 0;
        require(lom_get_property_value_v2(object_, kProperty, FALSE, sizeof(number),
                                          reinterpret_cast<guchar*>(&number), FALSE) == MOX_OK,
                "the read failed");
        return number;
    }

    int reads_per_sample() const override { return 1000; }

private:
    static constexpr gsize kEventHead = offsetof(MSG_EVENT_DATA_HEAD_S, data);

    void make_object() {
        OBJECT_PTR record = lom_create_object_embryo(1, kObject, kClass, "", "Logical", 1);
        require(record != nullptr, "no room for the object");
        CONST_TLV_S tlv = {};
        tlv.type[0] = 'i';
        tlv.size = sizeof(kFirstValue);
        tlv.data = &kFirstValue;
        lom_init_property(record, 0, kProperty, &tlv, "rw");
        object_ = lom_add_object(record);
        lom_ready_object(record);
        lom_set_writable(object_, OBJECT_READ_WRITE);
    }

    int listeners_ = 0;
    OBJ_HANDLE object_ = 0;
    gint32 queue_ = -1;
    MOX_MSG_S message_ = {};
};

}  // namespace

int main(int argc, char** argv) {
    MoxbasePeer peer;
    return run(argc, argv, peer);
}

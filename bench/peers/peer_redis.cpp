// The number is a key of a server on a Unix socket, which is the other process of a read. A change
// is published on a channel that each listener subscribes; a stream is published in batches, each
// sent before its replies are awaited.
#include <hiredis/hiredis.h>
#include <sys/time.h>

#include <cstdlib>
#include <memory>

#include "rounds.hpp"

namespace {

using namespace mox::peers;

constexpr char kKey[] = "Fan1.Speed";
constexpr int kBatch = 100;
constexpr timeval kLongestWait = {20, 0};

struct FreeReply {
    void operator()(redisReply* reply) const { freeReplyObject(reply); }
};
using Reply = std::unique_ptr<redisReply, FreeReply>;

struct FreeConnection {
    void operator()(redisContext* connection) const { redisFree(connection); }
};

// The number in the text of a reply.
std::int32_t number_in(const redisReply& reply) {
    require(reply.type == REDIS_REPLY_STRING, "the reply is not a text");
    return static_cast<std::int32_t>(std::strtol(reply.str, nullptr, 10));
}

class RedisPeer : public Peer {
public:
    void prepare(const Setting& setting) override {
        require(!setting.place.empty(), "PLACE, the server's socket, is missing");
        setting_ = setting;
    }

    void open_owner(Exchange&) override {
        connect();
        checked(command("SET %s %d", kKey, kFirstValue));
    }

    void change(std::int32_t value) override { checked(command("PUBLISH %s %d", kKey, value)); }

    void change_in_stream(std::int32_t value) override {
        require(redisAppendCommand(connection_.get(), "PUBLISH %s %d", kKey, value) == REDIS_OK,
                "the change cannot be appended");
        if (++appended_ == kBatch) {
            flush();
        }
    }

    void flush() override {
        for (; appended_ > 0; --appended_) {
            checked(next_reply());
        }
    }

    void open_listener(Exchange&, int) override {
        connect();
        if (!setting_.is_read) {
            checked(command("SUBSCRIBE %s", kKey));
        }
    }

    std::int32_t next_change() override {
        const Reply reply = checked(next_reply());
        require(reply->type == REDIS_REPLY_ARRAY && reply->elements == 3,
                "another message came than a published one");
        return number_in(*reply->element[2]);
    }

    std::int32_t read() override { return number_in(*checked(command("GET %s", kKey))); }

private:
    void connect() {
        connection_.reset(redisConnectUnixWithTimeout(setting_.place.c_str(), kLongestWait));
        require(connection_ != nullptr && connection_->err == 0,
                "no connection to the server at PLACE");
        require(redisSetTimeout(connection_.get(), kLongestWait) == REDIS_OK, "no time limit");
    }

    template <typename... Arguments>
    redisReply* command(const char* format, Arguments... arguments) {
        return static_cast<redisReply*>(redisCommand(connection_.get(), format, arguments...));
    }

    redisReply* next_reply() {
        void* reply = nullptr;
        return redisGetReply(connection_.get(), &reply) == REDIS_OK
                   ? static_cast<redisReply*>(reply)
                   : nullptr;
    }

    Reply checked(redisReply* reply) const {
        Reply owned(reply);
        if (reply == nullptr) fail(std::string("the server: ") + connection_->errstr);
        if (reply->type == REDIS_REPLY_ERROR) fail(std::string("the server: ") + reply->str);
        return owned;
    }

    Setting setting_;
    int appended_ = 0;
    std::unique_ptr<redisContext, FreeConnection> connection_;
};

}  // namespace

int main(int argc, char** argv) {
    RedisPeer peer;
    return run(argc, argv, peer);
}

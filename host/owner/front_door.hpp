// The listening socket of the owner: each process that connects is let in, or turned away at once.
//
// What holds: nobody takes the owner's last descriptors by connecting. The library below ends a
// process that has none for itself, and its own server would ask for the next connection without a
// pause when there is none to take it with; so connections are taken here, one at a time, and only
// while some descriptors are to spare. Whoever does not identify itself in time is turned away;
// when many are about to, those that take longest go first, and newcomers wait at the socket.
// (Descriptors that a visitor sends along with a message are not counted.)
#ifndef MOXHOST_OWNER_FRONT_DOOR_HPP
#define MOXHOST_OWNER_FRONT_DOOR_HPP

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <string>

namespace mox::host {

// Serves in the global default main context; for its thread.
class FrontDoor {
public:
    // Takes a connection that has identified itself and does not hand on messages yet; false closes
    // it.
    using Admit = std::function<bool(GDBusConnection* connection)>;
    // Asked when descriptors are short: gives up connections that nobody needs.
    using MakeRoom = std::function<void()>;

    // Binds the socket; nobody can connect yet. observer: judges who connects, in any thread; kept.
    // Throws a StartError.
    FrontDoor(const std::string& socket_path, GDBusAuthObserver* observer, Admit admit,
              MakeRoom make_room);
    // Who is about to identify itself is turned away. The socket's name stays.
    ~FrontDoor();
    FrontDoor(const FrontDoor&) = delete;
    FrontDoor& operator=(const FrontDoor&) = delete;

    // Lets processes connect. Throws a StartError.
    void open();

private:
    struct Visitor;
    struct Doorway;

    // data: the doorway, or the visitor.
    static gboolean on_visitors(GSocket* socket, GIOCondition condition, gpointer data);
    static gpointer identify(gpointer data);
    static GDBusConnection* connection_with(const Visitor& visitor);
    static gboolean on_identified(gpointer data);
    static gboolean on_late(gpointer data);
    static gboolean on_pause_end(gpointer data);
    static void watch(Doorway& doorway);
    static gboolean pause(Doorway& doorway, guint ms);
    static bool has_room(Doorway& doorway);
    static void let_in(const std::shared_ptr<Doorway>& doorway, GSocket* socket);

    std::shared_ptr<Doorway> doorway_;  // a visitor may outlive the door
};

}  // namespace mox::host

#endif

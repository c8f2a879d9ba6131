// The message bus: one Unix datagram socket a name in the run directory, one datagram a message. For programs beside
// the daemon; the daemon itself uses RegMsgHandle and send_msg_to_netctrl.
#ifndef PLATFORM_LINUX_BUS_H
#define PLATFORM_LINUX_BUS_H

#include <cstddef>
#include <sys/types.h>

// The longest text that travels, in characters, and the longest name (letters, digits, "_" and "-").
constexpr size_t BUS_TEXT_MAX = 4095;
constexpr size_t BUS_NAME_MAX = 32;

enum bus_result {
    BUS_DONE,
    BUS_NOTHING,        // no message is waiting
    BUS_BAD_NAME,       // not a name for the bus
    BUS_TOO_LONG,       // the text is beyond BUS_TEXT_MAX; received: it was cut, and is dropped
    BUS_FOREIGN_SENDER, // received: another user sent it, and it is dropped
    BUS_HELD,           // another live process holds the name
    BUS_NO_HOLDER,      // no process holds the name
    BUS_NO_ROOM,        // the holder's queue stayed full
    BUS_RUN_DIRECTORY,  // the run directory is not as it must be; errno says what
    BUS_SYSTEM_ERROR,   // errno says what
};

// What a result means, for people; the last two go by errno, so ask at once. The text stays until the next call in this
// thread or another.
const char *bus_result_text(bus_result result);

// A name held on the bus.
struct bus_end {
    int socket; // for poll: readable while a message waits
    int lock;   // held for as long as the name is
};

// Takes a name. A name whose holder has died is free. BUS_DONE, BUS_BAD_NAME, BUS_HELD,
// BUS_RUN_DIRECTORY or BUS_SYSTEM_ERROR.
bus_result bus_open(const char *name, bus_end *end);

// Whether senders still find the end under its name: somebody may have removed the run directory, or what is in it.
bool bus_stands(const char *name, const bus_end *end);

// Takes the name again for an end that does not stand. What waits at the old socket is lost. As bus_open; the end stays
// as it is unless the result is BUS_DONE.
bus_result bus_open_anew(const char *name, bus_end *end);

// No sender finds the end any more: each is told so from now on. What waits can still be received.
void bus_leave(const bus_end *end);

// Gives the name back; messages that still wait are lost.
void bus_close(bus_end *end);

// Posts a text to a name, waiting up to two seconds for room.
// BUS_DONE (the holder's queue has it), BUS_BAD_NAME, BUS_TOO_LONG, BUS_NO_HOLDER, BUS_NO_ROOM, BUS_RUN_DIRECTORY or
// BUS_SYSTEM_ERROR.
// Any thread.
bus_result bus_post(const char *to, const char *text);

struct bus_message {
    pid_t sender; // the kernel vouches for it
    char text[BUS_TEXT_MAX + 1];
};

// Takes one message off the queue without waiting.
// BUS_DONE, BUS_NOTHING, BUS_TOO_LONG, BUS_FOREIGN_SENDER (the last two: one message was dropped) or BUS_SYSTEM_ERROR.
bus_result bus_receive(const bus_end *end, bus_message *message);

// A sender for people: "PROGRAM[PID]", or "pid PID" when it has ended. Reads a file of /proc.
void bus_name_sender(pid_t sender, char (&name)[48]);

#endif

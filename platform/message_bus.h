// The message bus: one short text message at a time, posted to a name that a process holds.
#ifndef PLATFORM_MESSAGE_BUS_H
#define PLATFORM_MESSAGE_BUS_H

#ifdef __cplusplus
extern "C" {
#endif

// Takes one message. `sender` names who posted it, `text` is the message; both end with the call. The result is
// ignored.
typedef int (*message_handle_fn)(const char *sender, const char *text);

// Takes the name `name` on the bus and has `handle` called for every message posted to it that matches `filter`
// ("*": all, the only filter that the daemon uses). Non-zero: done. 0: the name is held by another live process, or the
// bus cannot be reached.
//
// Called once, by the main thread. A ground must call `handle` on the main thread and between two ticks (that is, while
// the main loop is inside sleep), one message at a time.
int RegMsgHandle(const char *name, const char *filter, message_handle_fn handle);

#ifdef __cplusplus
}
#endif

#endif

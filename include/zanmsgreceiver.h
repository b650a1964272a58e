#pragma once

namespace zansnmp {

class ZanMsgDispatcher;

/// Drains the System V message queue to which the router's processes post events. A message is its type only,
/// the event id; a body is discarded. The queue is neither closed nor removed: what is posted while the
/// module is not loaded is delivered later. Used on the agent's only thread.
class ZanMsgReceiver {
public:
    /// The one object, made on first use with its queue closed.
    static ZanMsgReceiver* instance();

    /// Opens the queue, making it readable and writable by all when there is none.
    /// @param key              the System V key of the queue
    /// @param eventDispatcher  receives the event ids from now on, also when this call fails; not owned
    /// @return true on success; false when the queue is open already or cannot be opened
    bool init(int key, ZanMsgDispatcher* eventDispatcher) noexcept;

    /// Takes the next event from the queue without waiting.
    /// @return the event id; 0 when the queue is empty or closed, or on a read error, which is in the log
    long getNextMsg() noexcept;

    /// Hands all waiting events to the dispatcher, in queue order, up to the first read error. Does nothing
    /// without a dispatcher.
    void consumeMessages() noexcept;

private:
    ZanMsgReceiver() = default;

    int queueId = -1; ///< the message queue's identifier; -1 until it is open
    ZanMsgDispatcher* dispatcher = nullptr;
};

} // namespace zansnmp

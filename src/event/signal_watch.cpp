#include "event/signal_watch.h"

#include <utility>

namespace nyx {

SignalWatch::SignalWatch(int signal, std::function<void()> on_signal)
    : m_on_signal(std::move(on_signal)), m_event(signal, &SignalWatch::on_event, this)
{
}

bool SignalWatch::start()
{
    constexpr int default_priority = -1;
    return m_event.add(m_event.signal(), default_priority);
}

void SignalWatch::on_event(int, short, void* self)
{
    static_cast<SignalWatch*>(self)->m_on_signal();
}

} // namespace nyx

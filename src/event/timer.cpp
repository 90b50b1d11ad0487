#include "event/timer.h"

#include <utility>

namespace nyx {

namespace {

constexpr int no_descriptor = -1;
constexpr int default_priority = -1;

unsigned whole_ms(std::chrono::milliseconds time)
{
    return static_cast<unsigned>(time.count());
}

} // namespace

Timer::Timer(std::function<void()> on_due)
    : m_on_due(std::move(on_due)), m_event(&Timer::on_event, this, no_descriptor)
{
}

bool Timer::charge(std::chrono::milliseconds delay)
{
    return m_event.charge(whole_ms(delay));
}

void Timer::on_event(int, short, void* self)
{
    const auto on_due = static_cast<Timer*>(self)->m_on_due; // a copy: the timer may go
    on_due();
}

PeriodicTimer::PeriodicTimer(std::function<void()> on_due)
    : m_on_due(std::move(on_due)), m_event(&PeriodicTimer::on_event, this)
{
}

bool PeriodicTimer::start(std::chrono::milliseconds period)
{
    return m_event.add(no_descriptor, whole_ms(period), default_priority);
}

void PeriodicTimer::on_event(int, short, void* self)
{
    static_cast<PeriodicTimer*>(self)->m_on_due();
}

} // namespace nyx

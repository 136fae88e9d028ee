#pragma once

#include <QObject>
#include <QPointer>

// A delegate held without ownership. Delegates that are QObjects are tracked, so a destroyed
// delegate reads as none; any other delegate must outlive the object it is set on, or be cleared.
template <typename Delegate>
class VLWeakDelegate
{
public:
    VLWeakDelegate &operator=(Delegate *delegate)
    {
        m_delegate = delegate;
        m_tracker = delegate ? dynamic_cast<QObject *>(delegate) : nullptr;
        m_tracked = !m_tracker.isNull();
        return *this;
    }
    Delegate *get() const
    {
        if (m_tracked && m_tracker.isNull())
            return nullptr;
        return m_delegate;
    }
    // The delegate as an optional interface it may also implement, or none.
    template <typename Optional>
    Optional *as() const
    {
        return dynamic_cast<Optional *>(get());
    }

private:
    Delegate *m_delegate = nullptr;
    QPointer<QObject> m_tracker;
    bool m_tracked = false;
};

#include "platform/FallbackGlobalHotKey.h"

FallbackGlobalHotKey::FallbackGlobalHotKey(std::vector<Candidate> candidates, QString none, QObject *parent)
    : GlobalHotKey(parent)
    , m_candidates(std::move(candidates))
    , m_none(std::move(none))
{
}

// The backends go first: their own destructors release what they hold while this object still exists.
FallbackGlobalHotKey::~FallbackGlobalHotKey()
{
    m_current.reset();
}

void FallbackGlobalHotKey::registerHotKey()
{
    if (m_current && isRegistered())
        return;
    tryFrom(0);
}

void FallbackGlobalHotKey::unregisterHotKey()
{
    if (m_current)
        m_current->unregisterHotKey();
    setRegistered(false);
}

bool FallbackGlobalHotKey::isAvailable() const
{
    chooseFirst();
    return m_current && m_current->isAvailable();
}

QString FallbackGlobalHotKey::description() const
{
    chooseFirst();
    return m_current ? m_current->description() : m_none;
}

QString FallbackGlobalHotKey::consentQuestion() const
{
    chooseFirst();
    return m_current ? m_current->consentQuestion() : QString();
}

void FallbackGlobalHotKey::giveConsent()
{
    chooseFirst();
    if (m_current)
        m_current->giveConsent();
}

void FallbackGlobalHotKey::tryFrom(std::size_t index)
{
    for (; index < m_candidates.size(); ++index) {
        if (!m_candidates[index].isOffered())
            continue;
        // The one in use already is asked again, not made anew: it keeps what it knows (the user's consent).
        if (m_current && m_index == index) {
            m_current->registerHotKey();
            return;
        }
        std::unique_ptr<GlobalHotKey> next = m_candidates[index].make(nullptr);
        if (!next)
            continue;
        adopt(std::move(next), index);
        m_current->registerHotKey();
        return;
    }
    reportFailure();
}

void FallbackGlobalHotKey::currentFailed()
{
    // The failed one stays current until another is offered: its description says why there is no shortcut.
    const std::size_t next = m_index + 1;
    for (std::size_t index = next; index < m_candidates.size(); ++index) {
        if (m_candidates[index].isOffered()) {
            // Later, not inside the failing backend's own signal: it may still be on the stack.
            QMetaObject::invokeMethod(
                this, [this, index] { tryFrom(index); }, Qt::QueuedConnection);
            return;
        }
    }
    reportFailure();
}

void FallbackGlobalHotKey::chooseFirst() const
{
    if (m_current)
        return;
    for (std::size_t index = 0; index < m_candidates.size(); ++index) {
        if (!m_candidates[index].isOffered())
            continue;
        if (std::unique_ptr<GlobalHotKey> first = m_candidates[index].make(nullptr)) {
            const_cast<FallbackGlobalHotKey *>(this)->adopt(std::move(first), index);
            return;
        }
    }
}

void FallbackGlobalHotKey::adopt(std::unique_ptr<GlobalHotKey> backend, std::size_t index)
{
    m_current = std::move(backend);
    m_index = index;
    connect(m_current.get(), &GlobalHotKey::pressed, this, &GlobalHotKey::pressed);
    connect(m_current.get(), &GlobalHotKey::registeredChanged, this, &FallbackGlobalHotKey::setRegistered);
    connect(m_current.get(), &GlobalHotKey::registrationFailed, this, &FallbackGlobalHotKey::currentFailed);
}

#pragma once

#include "platform/GlobalHotKey.h"

#include <functional>
#include <memory>
#include <vector>

// The mechanisms a session offers for the shortcut, tried in order until one of them registers it: on a Wayland
// desktop the portal may answer that it bound nothing, and the desktop's own shortcut service is then the next
// choice. Each candidate is looked at only when its turn comes, so building the chain costs nothing and a
// mechanism that is never needed is never asked whether it exists.
class FallbackGlobalHotKey : public GlobalHotKey {
    Q_OBJECT

public:
    struct Candidate {
        // Whether the session offers the mechanism now (a service on the bus, a schema installed).
        std::function<bool()> isOffered;
        std::function<std::unique_ptr<GlobalHotKey>(QObject *parent)> make;
    };

    // `candidates` in order of preference; the last one offered is kept when all fail, so that its description
    // explains what the user can do. `none` is the description when no candidate is offered at all.
    FallbackGlobalHotKey(std::vector<Candidate> candidates, QString none, QObject *parent);
    ~FallbackGlobalHotKey() override;

    void registerHotKey() override;
    void unregisterHotKey() override;
    bool isAvailable() const override;
    QString description() const override;
    QString consentQuestion() const override;
    void giveConsent() override;

    // The mechanism in use or being tried; null before the first registration and when none is offered.
    GlobalHotKey *current() const { return m_current.get(); }

private:
    void tryFrom(std::size_t index);
    void adopt(std::unique_ptr<GlobalHotKey> backend, std::size_t index);
    void currentFailed();
    // Makes the first offered candidate current without registering it, for the questions asked before.
    void chooseFirst() const;

    std::vector<Candidate> m_candidates;
    QString m_none;
    mutable std::unique_ptr<GlobalHotKey> m_current;
    mutable std::size_t m_index = 0;
};

#pragma once

#include <QObject>
#include <QString>

#include <memory>

// The system-wide shortcut that creates a new note while another application is active. There is one fixed
// combination: Ctrl+Alt+[ on Linux, Command-Option-[ on macOS. Each platform mechanism is a subclass; the rest of
// the application sees only this interface and gets the right backend from `create`.
//
// Presses arrive through `pressed`, always on the next turn of the main event loop: whatever a press does (create a
// note, ask for a folder) then runs outside the native event handler that saw the key.
class GlobalHotKey : public QObject {
    Q_OBJECT

public:
    // The backend of the running platform plugin: "xcb" grabs the key on the X server; "wayland" uses the desktop
    // portal's global shortcuts when the desktop offers them; anywhere else the backend never registers and its
    // `description` says what the user can do instead.
    static std::unique_ptr<GlobalHotKey> create(QObject *parent = nullptr);
    // The same choice for a named platform plugin.
    static std::unique_ptr<GlobalHotKey> createFor(const QString &platformName, QObject *parent = nullptr);

    // The combination as the platform writes it ("Ctrl+Alt+[" on Linux, "⌥⌘[" on macOS).
    static QString keyText();
    // What the user can do where no mechanism delivers the shortcut: bind `tackpad --new-note` by hand.
    static QString commandLineAdvice();

    ~GlobalHotKey() override;

    // Switches the shortcut on. Calling it while registered (or while a registration is under way) does nothing.
    // A combination that another application holds is not an error the user is told about: the backend stays
    // unregistered and the shortcut simply does nothing. Backends that talk to a service finish asynchronously and
    // report through `registeredChanged`.
    virtual void registerHotKey() = 0;
    // Switches the shortcut off; harmless when it is off.
    virtual void unregisterHotKey() = 0;

    bool isRegistered() const { return m_registered; }
    // Whether this platform can deliver a global shortcut to the application at all.
    virtual bool isAvailable() const = 0;
    // One sentence for the settings dialog about the shortcut's current state on this platform.
    virtual QString description() const = 0;

    // Non-empty for a backend that works by changing the desktop's own settings (a keyboard shortcut added to the
    // desktop's configuration): the question to put to the user before `registerHotKey` may make that change.
    virtual QString consentQuestion() const { return {}; }
    // The user agreed to `consentQuestion`: the next `registerHotKey` may change the desktop's settings.
    virtual void giveConsent() { }

Q_SIGNALS:
    void pressed();
    void registeredChanged(bool registered);
    // A registration attempt ended without the shortcut: the combination is taken, the desktop refused, or the
    // service is missing. The application may then try the next mechanism the session offers.
    void registrationFailed();

protected:
    explicit GlobalHotKey(QObject *parent);

    void setRegistered(bool registered);
    // For the backends' native handlers: emits `pressed` once, on the next turn of the event loop.
    void notifyPressed();
    // Leaves the shortcut off and emits `registrationFailed`.
    void reportFailure();

    // Texts shared by the backends.
    static QString activeDescription(const QString &trigger);
    static QString takenDescription();

private:
    bool m_registered = false;
};

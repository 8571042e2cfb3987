#pragma once

#include "store/NoteController.h"
#include "windows/NoteWindowEnvironment.h"

#include <QElapsedTimer>
#include <QPointer>
#include <QRectF>

#include <memory>

class MarkdownTextView;
class NoteWindow;
class PromptRun;
class QKeyEvent;
class QMenu;
class QPropertyAnimation;
class QShortcut;
class TitleBarView;

// One note as a window: its frameless window, title bar and editor. Turns what the user does to the window (moves,
// resizes, menu items, title-bar buttons, link clicks) into changes of the note's properties and asks the store to
// save them; applies the store's external changes to the window. The window is made when the note is first shown:
// until then (a hidden note) the note is only its text and properties, and every change goes to those alone.
class NoteWindowController : public NoteController {
    Q_OBJECT

public:
    static constexpr double rolledHeight = 20;
    static constexpr double minContentWidth = 140;
    static constexpr double minContentHeight = 60;

    NoteWindowController(std::unique_ptr<Note> note, NoteStore &store, const QString &lastDiskContent,
        NoteWindowEnvironment environment = {});
    ~NoteWindowController() override;

    // The window, its title bar and its editor; null until the note is first shown.
    NoteWindow *window() const { return m_window.get(); }
    TitleBarView *titleBar() const;
    MarkdownTextView *textView() const { return m_textView; }

    // The note's window frame, in the file's bottom-up convention, corrected onto a visible screen: the first screen
    // whose visible frame meets the rectangle, else the main one. Width and height shrink to the frame; the left
    // edge wins over the right and the bottom over the top.
    static QRectF clampToVisible(
        const QRectF &rect, const QList<QRectF> &visibleFrames, const std::optional<QRectF> &mainFrame);
    static QRectF clampToVisible(const QRectF &rect);
    // The frame a note's window takes: its stored frame, the 20-point strip at the same top edge when rolled up.
    static QRectF frameFor(const NoteMetadata &meta);
    // Whether the platform tells windows where they are. Wayland does not: a position read there is invented.
    static bool platformReportsPositions();
    // How long after a window appears or is placed its moves are still taken for the window manager's corrections
    // (500 ms). Tests that move windows by program set it to 0.
    static void setPlacementCorrectionTime(qint64 ms);

    // --- Actions (menu items, title-bar buttons)
    void toggleRolled();
    void toggleFloat();
    void hideNote();
    void setNoteColor(const QString &hex);
    void pickCustomColor();
    void customColorChanged(const QColor &color);
    void biggerFont();
    void smallerFont();
    void renameNote();
    void duplicateNote();
    void deleteNote();
    void revealInFileManager();
    void togglePrompt();
    void applyPrompt(const QString &promptFilename);

    // --- Prompt notes (NoteWindowControllerPrompts.cpp)
    enum class PromptOutcome { Applied, Refused, Failed, Cancelled };
    Q_ENUM(PromptOutcome)
    // Sends `prompt` with this note's text to the AI service and replaces the text with the reply, as one undoable
    // edit, after putting the previous content in the Trash. Does nothing while a request of this note runs.
    // `fallbackKey` is used when the keyring holds no key (a command line's ANTHROPIC_API_KEY).
    void runPrompt(const QString &prompt, const QString &promptTitle, const QString &fallbackKey = {});
    // Puts the note's current file content into the Trash as "<title> (before AI).md"; false (and logged) when
    // it cannot be written or trashed.
    bool backupCurrentContentToTrash(QString *error = nullptr);
    bool aiRequestInFlight() const;
    // Stops the request of this note: nothing changes and no error is shown.
    void cancelAiRequest();

    // Builds the note's context menu: the note items, then the application's menus as submenus.
    void populateContextMenu(QMenu *menu);
    // Handles a click on a link in the editor; false when the link is not for the note to open.
    bool handleLink(const QString &link);

    // --- The store's window operations
    void showWindow(bool activate) override;
    void hideWindow() override;
    void closeWindow() override;
    void applyFrame() override;
    void applyAppearance() override;
    void applyRolledState(bool animated) override;
    void setEditorText(const QString &markdown) override;
    void focusEditor() override;
    void setDisplayOffset(QPointF offset) override;

    // The window moved or was resized by the user: the new frame goes into the note (suppressed while the window
    // itself changes the frame).
    void frameChanged();

Q_SIGNALS:
    // A run of runPrompt ended; `message` is what the user was told (the applied text without the undo hint).
    void aiRequestFinished(NoteWindowController::PromptOutcome outcome, const QString &message);
    // The note's window was made (it is about to be shown for the first time).
    void windowBuilt();

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void buildWindow();
    void styleEditor();
    void addMenuKeys();
    bool moveFocusToTitleBar(const QKeyEvent &key);
    void setFirstText();
    void connectTitleBar();
    void connectEditor();
    void changed(bool rememberStyle);
    void setWindowFrame(const QRectF &fileRect);
    QRectF displayFrame() const;
    void placed(const QRect &geometry);
    bool placementSettled() const;
    void screensChanged();
    QRectF windowFileRect() const;
    void showContextMenu(const QPoint &globalPosition, QMenu *menu);
    void setFontSize(double size);
    void onLiveResize();
    void finishRollAnimation();
    void rememberUnrolledHeight();
    void onWindowClosing();
    bool openAttachmentLink(const QString &decodedLink);
    void applyReply(const QString &reply, const QString &promptTitle);
    void endPromptRun(PromptOutcome outcome, const QString &message);

    NoteWindowEnvironment m_environment;
    std::unique_ptr<NoteWindow> m_window;
    MarkdownTextView *m_textView = nullptr;
    bool m_suppressFrameCallbacks = false;
    // The roll animation under way, if any, and whether frame changes were suppressed before it began.
    QPointer<QPropertyAnimation> m_rollAnimation;
    bool m_suppressedBeforeRoll = false;
    // The geometry the window was last given by this application or, while it was being placed, by the window
    // manager. A move or resize that ends anywhere else, once placement has settled, is the user's.
    QRect m_placedGeometry;
    QElapsedTimer m_sincePlacement;
    bool m_closing = false;
    QPointer<PromptRun> m_promptRun;
    QPointer<QShortcut> m_cancelPromptShortcut;
};

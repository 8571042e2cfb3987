#include "store/TextMerge.h"

#include "store/StoreLog.h"

#include <QByteArray>
#include <QLibrary>
#include <QStringList>

#include <git2.h>

namespace TextMerge {

namespace {

// libgit2 is opened at the first merge, not with the program: loading it, with the TLS and SSH libraries it links,
// costs every start some megabytes of memory, and most runs never merge.
struct GitFunctions {
    decltype(&git_merge_file) mergeFile = nullptr;
    decltype(&git_merge_file_result_free) freeResult = nullptr;
};

const GitFunctions *gitFunctions()
{
    static const std::optional<GitFunctions> functions = []() -> std::optional<GitFunctions> {
        QLibrary library(QStringLiteral("git2"), QStringLiteral(TACKPAD_LIBGIT2_SOVERSION));
        const auto init = reinterpret_cast<decltype(&git_libgit2_init)>(library.resolve("git_libgit2_init"));
        GitFunctions git;
        git.mergeFile = reinterpret_cast<decltype(git.mergeFile)>(library.resolve("git_merge_file"));
        git.freeResult = reinterpret_cast<decltype(git.freeResult)>(library.resolve("git_merge_file_result_free"));
        if (!init || !git.mergeFile || !git.freeResult) {
            qCWarning(lcStore) << "cannot merge texts:" << library.errorString();
            return std::nullopt;
        }
        // Sets up libgit2's global state once per process; the merge itself needs no repository.
        init();
        return git;
    }();
    return functions ? &*functions : nullptr;
}

// git's merge of three texts with diff3-style conflict sections; nothing when libgit2 fails.
std::optional<QByteArray> gitMerge(
    const QByteArray &base, const QByteArray &ours, const QByteArray &theirs, bool *clean)
{
    const GitFunctions *git = gitFunctions();
    if (!git)
        return std::nullopt;
    git_merge_file_input baseInput = GIT_MERGE_FILE_INPUT_INIT;
    git_merge_file_input ourInput = GIT_MERGE_FILE_INPUT_INIT;
    git_merge_file_input theirInput = GIT_MERGE_FILE_INPUT_INIT;
    baseInput.ptr = base.constData();
    baseInput.size = size_t(base.size());
    ourInput.ptr = ours.constData();
    ourInput.size = size_t(ours.size());
    theirInput.ptr = theirs.constData();
    theirInput.size = size_t(theirs.size());
    git_merge_file_options options = GIT_MERGE_FILE_OPTIONS_INIT;
    options.flags = GIT_MERGE_FILE_STYLE_DIFF3;
    options.ancestor_label = "base";
    options.our_label = "ours";
    options.their_label = "theirs";
    git_merge_file_result result = {};
    if (git->mergeFile(&result, &baseInput, &ourInput, &theirInput, &options) != 0)
        return std::nullopt;
    *clean = result.automergeable != 0;
    QByteArray merged(result.ptr, qsizetype(result.len));
    git->freeResult(&result);
    return merged;
}

// Resolves the conflict sections of a diff3-style merge of token lines in which both sides only inserted text at
// one place (the base part is empty): both insertions are kept. Nothing if any section replaced base text.
std::optional<QByteArray> keepBothInsertions(const QByteArray &merged)
{
    enum class Part { Outside, Ours, Base, Theirs };
    Part part = Part::Outside;
    QByteArray result;
    QByteArray ours;
    QByteArray theirs;
    bool baseEmpty = true;
    const QList<QByteArray> lines = merged.split('\n');
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QByteArray &line = lines.at(i);
        const bool last = i == lines.size() - 1;
        const QByteArray withEnd = last ? line : line + '\n';
        if (part == Part::Outside && line.startsWith("<<<<<<< ours")) {
            part = Part::Ours;
            ours.clear();
            theirs.clear();
            baseEmpty = true;
        } else if (part == Part::Ours && line.startsWith("||||||| base")) {
            part = Part::Base;
        } else if (part == Part::Base && line == "=======") {
            part = Part::Theirs;
        } else if (part == Part::Theirs && line.startsWith(">>>>>>> theirs")) {
            if (!baseEmpty)
                return std::nullopt;
            // Ours first, unless ours is a line's beginning and theirs whole lines: typing on the last, empty line
            // while another program appends lines reads on after those lines, not glued to the first of them.
            const bool oursEndsLine = ours.endsWith("\\n\n");
            const bool theirsEndsLine = theirs.endsWith("\\n\n");
            result += !oursEndsLine && theirsEndsLine ? theirs + ours : ours + theirs;
            part = Part::Outside;
        } else if (part == Part::Ours) {
            ours += withEnd;
        } else if (part == Part::Base) {
            baseEmpty = false;
        } else if (part == Part::Theirs) {
            theirs += withEnd;
        } else {
            result += withEnd;
        }
    }
    if (part != Part::Outside)
        return std::nullopt;
    return result;
}

std::optional<QByteArray> mergeLines(const QByteArray &base, const QByteArray &ours, const QByteArray &theirs)
{
    bool clean = false;
    const std::optional<QByteArray> merged = gitMerge(base, ours, theirs, &clean);
    return merged && clean ? merged : std::nullopt;
}

// Every token line ends in a line feed, so conflict sections hold whole tokens and both insertions can be kept
// exactly (a text's last line without a line feed would gain one inside a conflict section).
std::optional<QByteArray> mergeTokens(const QByteArray &base, const QByteArray &ours, const QByteArray &theirs)
{
    bool clean = false;
    const std::optional<QByteArray> merged = gitMerge(base, ours, theirs, &clean);
    if (!merged)
        return std::nullopt;
    return clean ? merged : keepBothInsertions(*merged);
}

bool isWordCharacter(QChar c)
{
    // Surrogates stay inside a token, so that an emoji is never split into halves that UTF-8 cannot carry.
    return c.isLetterOrNumber() || c.isMark() || c.isSurrogate() || c == QLatin1Char('_');
}

bool isBlank(QChar c)
{
    return c == QLatin1Char(' ') || c == QLatin1Char('\t');
}

// The text as one token a line: runs of word characters, runs of blanks, and every other character alone. A line
// feed becomes the line "\n" (backslash, n); a backslash is always a token of its own, so the two never meet.
QByteArray tokenLines(const QString &text)
{
    QString lines;
    lines.reserve(text.size() * 2);
    for (qsizetype i = 0; i < text.size();) {
        const QChar c = text.at(i);
        qsizetype end = i + 1;
        if (c == QLatin1Char('\n')) {
            lines += QLatin1String("\\n\n");
            i = end;
            continue;
        }
        if (isWordCharacter(c)) {
            while (end < text.size() && isWordCharacter(text.at(end)))
                ++end;
        } else if (isBlank(c)) {
            while (end < text.size() && isBlank(text.at(end)))
                ++end;
        }
        lines += QStringView(text).mid(i, end - i);
        lines += QLatin1Char('\n');
        i = end;
    }
    return lines.toUtf8();
}

QString fromTokenLines(const QByteArray &lines)
{
    const QString text = QString::fromUtf8(lines);
    QString joined;
    joined.reserve(text.size() / 2);
    qsizetype start = 0;
    while (start < text.size()) {
        qsizetype end = text.indexOf(QLatin1Char('\n'), start);
        if (end < 0)
            end = text.size();
        const QStringView token = QStringView(text).mid(start, end - start);
        if (token == QLatin1String("\\n"))
            joined += QLatin1Char('\n');
        else
            joined += token;
        start = end + 1;
    }
    return joined;
}

} // namespace

std::optional<QString> merge(const QString &base, const QString &ours, const QString &theirs)
{
    if (ours == theirs || theirs == base)
        return ours;
    if (ours == base)
        return theirs;
    if (const auto merged = mergeLines(base.toUtf8(), ours.toUtf8(), theirs.toUtf8()))
        return QString::fromUtf8(*merged);
    if (const auto merged = mergeTokens(tokenLines(base), tokenLines(ours), tokenLines(theirs)))
        return fromTokenLines(*merged);
    return std::nullopt;
}

} // namespace TextMerge

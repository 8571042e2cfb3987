// Merging an outside change into a note that has unsaved text, in a real note window (offscreen):
//   OutsideAppendMerged   a 4 KB note with a pending edit; another program appends a line; main-thread CPU time
//                         from the file event (the rescan of that file) to the merged text in the window
//   TextMergeOnly         the three-way merge of the same texts alone, for comparison
// Target: OutsideAppendMerged median at most 2 ms.

#include "BenchmarkRun.h"
#include "core/Settings.h"
#include "notes/Frontmatter.h"
#include "store/NoteStore.h"
#include "store/TextMerge.h"
#include "windows/NoteWindowController.h"

#include <QApplication>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <time.h>

namespace {

double threadSeconds()
{
    timespec now {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

QString fourKilobyteBody()
{
    const QString paragraph = QStringLiteral(
        "Lorem ipsum dolor sit amet, **consectetur** adipiscing elit, sed do eiusmod tempor incididunt ut labore "
        "et dolore magna aliqua. Ut enim ad minim veniam, quis nostrud [exercitation](https://example.org).\n\n");
    QString body = QStringLiteral("# A note\n\n");
    while (body.size() < 4000)
        body += paragraph;
    return body;
}

void writeFile(const QString &path, const QString &text)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(text.toUtf8());
}

void OutsideAppendMerged(benchmark::State &state)
{
    QTemporaryDir dir;
    const QString folder = dir.filePath(QStringLiteral("notes"));
    QDir().mkpath(folder);
    const QString path = folder + QLatin1String("/Note.md");
    NoteMetadata meta;
    const QString base = fourKilobyteBody();
    const QString baseText = Frontmatter::serialize(meta, {}, base);
    writeFile(path, baseText);
    NoteStore store(folder, Settings(dir.filePath(QStringLiteral("settings.ini"))));
    store.setControllerFactory([](std::unique_ptr<Note> note, NoteStore &owner, const QString &raw) {
        return std::make_unique<NoteWindowController>(std::move(note), owner, raw);
    });
    store.rescan();
    NoteController *note = store.controller(QStringLiteral("Note.md"));
    int round = 0;
    for (auto _ : state) {
        // Each round starts from the same note: the text on disk, one word typed in the window and not yet saved.
        writeFile(path, baseText);
        store.refreshFromDisk(QStringLiteral("Note.md"));
        note->setLastDiskContent(baseText);
        note->note().body = base;
        note->setEditorText(base);
        note->note().body = QStringLiteral("Typed ") + base;
        note->setEditorText(note->note().body);
        store.noteEdited(note);
        writeFile(path, baseText + QStringLiteral("appended elsewhere %1\n").arg(++round));

        const double start = threadSeconds();
        store.refreshFromDisk(QStringLiteral("Note.md"));
        state.SetIterationTime(threadSeconds() - start);
        if (!note->note().body.startsWith(QLatin1String("Typed "))
            || !note->note().body.contains(QLatin1String("appended")))
            state.SkipWithError("the merge lost text");
    }
    store.shutdown();
}
BENCHMARK(OutsideAppendMerged)->UseManualTime()->Unit(benchmark::kMillisecond);

void TextMergeOnly(benchmark::State &state)
{
    const QString base = fourKilobyteBody();
    const QString ours = QStringLiteral("Typed ") + base;
    const QString theirs = base + QStringLiteral("appended elsewhere\n");
    for (auto _ : state)
        benchmark::DoNotOptimize(TextMerge::merge(base, ours, theirs));
}
BENCHMARK(TextMergeOnly)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    return runBenchmarks(argc, argv);
}

// The search runs on every keystroke over every note of the workspace. Targets: at most 2 ms per query over 1,000
// notes of about 4 KB and 15 ms over 10,000, for a query found in about 1 % of the notes and for one found in none,
// with exactly the notes a plain case-insensitive QString::indexOf finds. BM_PlainIndexOf is that plain scan over
// the same bodies, for comparison.

#include "search/CaseInsensitiveFinder.h"
#include "search/NoteSearch.h"

#include "GeneratedMarkdown.h"

#include <QRandomGenerator>
#include <QStringList>

#include <benchmark/benchmark.h>

#include <algorithm>

namespace {

constexpr qsizetype bodyLength = 4096;
constexpr int maxNotes = 10000;

const QString foundQuery = QStringLiteral("Quokka"); // planted in every hundredth body
const QString absentQuery = QStringLiteral("zebrafinch");

// Markdown-like notes: headings, list items and paragraphs of varied length, 4 KB each, from a fixed seed.
QString generatedBody(QRandomGenerator &random, bool withQuery)
{
    QString body = GeneratedMarkdown::body(random, bodyLength, 75);
    body.truncate(bodyLength);
    if (withQuery) {
        const qsizetype at = body.indexOf(u' ', random.bounded(int(bodyLength - 100)));
        body.insert(at, QStringLiteral(" quokka"));
    }
    return body;
}

const QList<NoteSearch::Candidate> &corpus()
{
    static const QList<NoteSearch::Candidate> notes = [] {
        QRandomGenerator random(4096);
        const QStringList &words = GeneratedMarkdown::vocabulary();
        QList<NoteSearch::Candidate> candidates;
        candidates.reserve(maxNotes);
        for (int i = 0; i < maxNotes; ++i) {
            const QString title = i % 3 == 0
                ? QStringLiteral("Note %1").arg(i)
                : words.at(random.bounded(int(words.size()))) + u' ' + words.at(random.bounded(int(words.size())));
            candidates.append({QString::number(i), title, generatedBody(random, i % 100 == 42), i % 50 == 0});
        }
        return candidates;
    }();
    return notes;
}

QList<NoteSearch::Candidate> notes(qsizetype count)
{
    return corpus().first(count);
}

// The keys the plain algorithm finds: a case-insensitive "contains" on the title, QString::indexOf on the body.
QStringList plainMatches(const QString &query, const QList<NoteSearch::Candidate> &candidates)
{
    QStringList keys;
    for (const NoteSearch::Candidate &candidate : candidates) {
        if (candidate.title.contains(query, Qt::CaseInsensitive)
            || candidate.body.indexOf(query, 0, Qt::CaseInsensitive) >= 0)
            keys.append(candidate.key);
    }
    keys.sort();
    return keys;
}

QStringList sortedKeys(const QList<NoteSearch::Result> &results)
{
    QStringList keys;
    for (const NoteSearch::Result &result : results)
        keys.append(result.key);
    keys.sort();
    return keys;
}

void BM_Search(benchmark::State &state)
{
    const QList<NoteSearch::Candidate> candidates = notes(state.range(0));
    const QString &query = state.range(1) ? foundQuery : absentQuery;

    const QList<NoteSearch::Result> results = NoteSearch::search(query, candidates);
    if (sortedKeys(results) != plainMatches(query, candidates)) {
        state.SkipWithError("the search found other notes than the plain algorithm");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(NoteSearch::search(query, candidates));
    state.counters["results"] = double(results.size());
}

void BM_PlainIndexOf(benchmark::State &state)
{
    const QList<NoteSearch::Candidate> candidates = notes(state.range(0));
    const QString &query = state.range(1) ? foundQuery : absentQuery;
    qsizetype found = 0;
    for (auto _ : state) {
        found = 0;
        for (const NoteSearch::Candidate &candidate : candidates)
            found += candidate.body.indexOf(query, 0, Qt::CaseInsensitive) >= 0 ? 1 : 0;
        benchmark::DoNotOptimize(found);
    }
    state.counters["results"] = double(found);
}

// The body scan alone with each scan the finder has; a machine without AVX2 gets the SSE2 figures.
void BM_BodyScan(benchmark::State &state)
{
    const QList<NoteSearch::Candidate> candidates = notes(state.range(0));
    const auto scan = CaseInsensitiveFinder::Scan(state.range(1));
    const CaseInsensitiveFinder finder(absentQuery);
    for (const NoteSearch::Candidate &candidate : candidates) {
        if (finder.indexIn(candidate.body, scan) != candidate.body.indexOf(absentQuery, 0, Qt::CaseInsensitive)) {
            state.SkipWithError("the scan disagrees with QString::indexOf");
            return;
        }
    }
    for (auto _ : state) {
        for (const NoteSearch::Candidate &candidate : candidates)
            benchmark::DoNotOptimize(finder.indexIn(candidate.body, scan));
    }
}

// Queries that list nearly everything: the empty field (every note, sorted) and a first keystroke.
void BM_SearchListingAll(benchmark::State &state)
{
    const QList<NoteSearch::Candidate> candidates = notes(state.range(0));
    const QString query = state.range(1) ? QStringLiteral("t") : QString();
    qsizetype count = 0;
    for (auto _ : state) {
        const QList<NoteSearch::Result> results = NoteSearch::search(query, candidates);
        count = results.size();
        benchmark::DoNotOptimize(results);
    }
    state.counters["results"] = double(count);
}

void targetArguments(benchmark::internal::Benchmark *benchmark)
{
    benchmark->ArgNames({"notes", "found"});
    for (const int count : {1000, maxNotes}) {
        benchmark->Args({count, 1});
        benchmark->Args({count, 0});
    }
    benchmark->Unit(benchmark::kMillisecond);
}

} // namespace

BENCHMARK(BM_Search)->Apply(targetArguments);
BENCHMARK(BM_PlainIndexOf)->Apply(targetArguments);
BENCHMARK(BM_BodyScan)
    ->ArgNames({"notes", "scan"})
    ->Args({maxNotes, int(CaseInsensitiveFinder::Scan::Best)})
    ->Args({maxNotes, int(CaseInsensitiveFinder::Scan::Sse2)})
    ->Args({maxNotes, int(CaseInsensitiveFinder::Scan::Portable)})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SearchListingAll)
    ->ArgNames({"notes", "keystroke"})
    ->Args({1000, 0})
    ->Args({maxNotes, 0})
    ->Args({1000, 1})
    ->Args({maxNotes, 1})
    ->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();

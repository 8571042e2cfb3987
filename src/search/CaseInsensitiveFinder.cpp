#include "search/CaseInsensitiveFinder.h"

#include <algorithm>
#include <bit>
#include <optional>
#include <utility>
#include <vector>

#if defined(__x86_64__) && defined(__GNUC__)
#include <immintrin.h>
#endif

namespace {

using Spellings = std::array<char16_t, 4>;

// (folded unit, unit) for every unit of the Basic Multilingual Plane that case folding changes, sorted: the inverse
// of the folding QString compares with. Built once (about 0.3 ms); it lists about 1,200 pairs.
const std::vector<std::pair<char16_t, char16_t>> &unfoldings()
{
    static const auto table = [] {
        std::vector<std::pair<char16_t, char16_t>> pairs;
        for (char32_t unit = 0; unit <= 0xFFFF; ++unit) {
            if (QChar::isSurrogate(unit))
                continue;
            const char32_t fold = QChar::toCaseFolded(unit);
            if (fold != unit && fold <= 0xFFFF)
                pairs.emplace_back(char16_t(fold), char16_t(unit));
        }
        std::sort(pairs.begin(), pairs.end());
        return pairs;
    }();
    return table;
}

struct Spelled {
    Spellings units; // the last one repeated to fill the array
    int count;
};

// Every unit that QString's case-insensitive comparison takes for this one. No Unicode class has more than four
// ('θ', 'Θ', 'ϑ', 'ϴ'); a surrogate has no spelling of its own, because it is folded together with its partner.
std::optional<Spelled> spellingsOf(char16_t unit)
{
    if (QChar::isSurrogate(unit))
        return std::nullopt;
    const auto fold = char16_t(QChar::toCaseFolded(char32_t(unit)));
    std::vector<char16_t> found;
    if (QChar::toCaseFolded(char32_t(fold)) == fold)
        found.push_back(fold);
    const auto &table = unfoldings();
    for (auto it = std::lower_bound(table.begin(), table.end(), std::pair<char16_t, char16_t>(fold, 0));
         it != table.end() && it->first == fold; ++it)
        found.push_back(it->second);
    if (found.empty() || found.size() > Spellings().size())
        return std::nullopt;
    Spelled spelled {{}, int(found.size())};
    for (std::size_t i = 0; i < spelled.units.size(); ++i)
        spelled.units[i] = found[std::min(i, found.size() - 1)];
    return spelled;
}

bool isSpelling(char16_t unit, const Spellings &spellings)
{
    return std::find(spellings.begin(), spellings.end(), unit) != spellings.end();
}

// What the scans need of a prepared needle.
struct Pattern {
    QStringView needle;
    const Spellings &first;
    const Spellings &last;
};

// Both ends fit; the rest is decided by QString itself, so that "a match" means what it means to QString.
bool matchesAt(const char16_t *text, qsizetype position, QStringView needle)
{
    return QStringView(text + position, needle.size()).compare(needle, Qt::CaseInsensitive) == 0;
}

qsizetype scanPortably(const char16_t *text, qsizetype from, qsizetype size, const Pattern &pattern)
{
    const qsizetype lastOffset = pattern.needle.size() - 1;
    for (qsizetype i = from; i + lastOffset < size; ++i) {
        if (isSpelling(text[i], pattern.first) && isSpelling(text[i + lastOffset], pattern.last)
            && matchesAt(text, i, pattern.needle))
            return i;
    }
    return -1;
}

#if defined(__x86_64__) && defined(__GNUC__)

// Eight positions at a time: a lane is a candidate when its unit is a spelling of the needle's first unit and the
// unit needle-length − 1 further on is a spelling of its last. Slots is the number of spellings compared, so that
// the usual letter (two spellings) or digit (one) costs no more compares than it needs.
template<int Slots> qsizetype scanSse2(const char16_t *text, qsizetype size, const Pattern &pattern)
{
    constexpr qsizetype width = 8;
    const qsizetype lastOffset = pattern.needle.size() - 1;
    __m128i first[Slots];
    __m128i last[Slots];
    for (int k = 0; k < Slots; ++k) {
        first[k] = _mm_set1_epi16(short(pattern.first[k]));
        last[k] = _mm_set1_epi16(short(pattern.last[k]));
    }
    qsizetype i = 0;
    for (; i + lastOffset + width <= size; i += width) {
        const __m128i head = _mm_loadu_si128(reinterpret_cast<const __m128i *>(text + i));
        const __m128i tail = _mm_loadu_si128(reinterpret_cast<const __m128i *>(text + i + lastOffset));
        __m128i headFits = _mm_cmpeq_epi16(head, first[0]);
        __m128i tailFits = _mm_cmpeq_epi16(tail, last[0]);
        for (int k = 1; k < Slots; ++k) {
            headFits = _mm_or_si128(headFits, _mm_cmpeq_epi16(head, first[k]));
            tailFits = _mm_or_si128(tailFits, _mm_cmpeq_epi16(tail, last[k]));
        }
        // Two mask bits per 16-bit lane.
        auto lanes = unsigned(_mm_movemask_epi8(_mm_and_si128(headFits, tailFits)));
        while (lanes) {
            const int bit = std::countr_zero(lanes);
            if (matchesAt(text, i + bit / 2, pattern.needle))
                return i + bit / 2;
            lanes &= ~(3u << bit);
        }
    }
    return scanPortably(text, i, size, pattern);
}

// The same as scanSse2, sixteen positions at a time, on processors that have AVX2.
template<int Slots>
__attribute__((target("avx2"))) qsizetype scanAvx2(const char16_t *text, qsizetype size, const Pattern &pattern)
{
    constexpr qsizetype width = 16;
    const qsizetype lastOffset = pattern.needle.size() - 1;
    __m256i first[Slots];
    __m256i last[Slots];
    for (int k = 0; k < Slots; ++k) {
        first[k] = _mm256_set1_epi16(short(pattern.first[k]));
        last[k] = _mm256_set1_epi16(short(pattern.last[k]));
    }
    qsizetype i = 0;
    for (; i + lastOffset + width <= size; i += width) {
        const __m256i head = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(text + i));
        const __m256i tail = _mm256_loadu_si256(reinterpret_cast<const __m256i *>(text + i + lastOffset));
        __m256i headFits = _mm256_cmpeq_epi16(head, first[0]);
        __m256i tailFits = _mm256_cmpeq_epi16(tail, last[0]);
        for (int k = 1; k < Slots; ++k) {
            headFits = _mm256_or_si256(headFits, _mm256_cmpeq_epi16(head, first[k]));
            tailFits = _mm256_or_si256(tailFits, _mm256_cmpeq_epi16(tail, last[k]));
        }
        auto lanes = unsigned(_mm256_movemask_epi8(_mm256_and_si256(headFits, tailFits)));
        while (lanes) {
            const int bit = std::countr_zero(lanes);
            if (matchesAt(text, i + bit / 2, pattern.needle))
                return i + bit / 2;
            lanes &= ~(3u << bit);
        }
    }
    return scanPortably(text, i, size, pattern);
}

qsizetype scanVectors(const char16_t *text, qsizetype size, const Pattern &pattern, int slots, bool avx2)
{
    switch (slots) {
    case 1:
        return avx2 ? scanAvx2<1>(text, size, pattern) : scanSse2<1>(text, size, pattern);
    case 2:
        return avx2 ? scanAvx2<2>(text, size, pattern) : scanSse2<2>(text, size, pattern);
    case 3:
        return avx2 ? scanAvx2<3>(text, size, pattern) : scanSse2<3>(text, size, pattern);
    default:
        return avx2 ? scanAvx2<4>(text, size, pattern) : scanSse2<4>(text, size, pattern);
    }
}

#endif

} // namespace

CaseInsensitiveFinder::CaseInsensitiveFinder(QStringView needle)
    : m_needle(needle.toString())
{
    if (m_needle.isEmpty())
        return;
    const auto first = spellingsOf(m_needle.front().unicode());
    const auto last = spellingsOf(m_needle.back().unicode());
    if (first && last) {
        m_first = first->units;
        m_last = last->units;
        m_slots = std::max(first->count, last->count);
    }
}

qsizetype CaseInsensitiveFinder::indexIn(QStringView text, Scan scan) const
{
    if (m_slots == 0)
        return text.indexOf(m_needle, 0, Qt::CaseInsensitive);
    const Pattern pattern {m_needle, m_first, m_last};
#if defined(__x86_64__) && defined(__GNUC__)
    static const bool hasAvx2 = __builtin_cpu_supports("avx2");
    if (scan != Scan::Portable)
        return scanVectors(text.utf16(), text.size(), pattern, m_slots, scan == Scan::Best && hasAvx2);
#else
    Q_UNUSED(scan);
#endif
    return scanPortably(text.utf16(), 0, text.size(), pattern);
}

#include "search/RawTextFilter.h"

#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

constexpr char caseBit = 0x20;

bool isAsciiLetter(char c)
{
    const char lower = char(c | caseBit);
    return lower >= 'a' && lower <= 'z';
}

// Whether a byte of the text matches the query's byte (in lower case). Setting the case bit lowers only letters
// correctly: it would also take '@' for '`', so it is applied only where the query has a letter.
bool fits(char text, char folded)
{
    return isAsciiLetter(folded) ? char(text | caseBit) == folded : text == folded;
}

bool matchesAt(const char *text, const QByteArray &folded)
{
    for (qsizetype i = 0; i < folded.size(); ++i) {
        if (!fits(text[i], folded[i]))
            return false;
    }
    return true;
}

bool containsPortable(const char *text, qsizetype size, const QByteArray &folded)
{
    for (qsizetype i = 0; i + folded.size() <= size; ++i) {
        if (matchesAt(text + i, folded))
            return true;
    }
    return false;
}

#if defined(__SSE2__)
// Sixteen positions at a time: those where the query's first and last bytes both fit are confirmed one by one.
bool contains(const char *text, qsizetype size, const QByteArray &folded)
{
    const qsizetype lastOffset = folded.size() - 1;
    const auto caseMask = [](char c) { return _mm_set1_epi8(isAsciiLetter(c) ? caseBit : 0); };
    const __m128i first = _mm_set1_epi8(folded.front());
    const __m128i last = _mm_set1_epi8(folded.back());
    const __m128i firstCase = caseMask(folded.front());
    const __m128i lastCase = caseMask(folded.back());
    qsizetype i = 0;
    for (; i + lastOffset + 16 <= size; i += 16) {
        const auto head = _mm_loadu_si128(reinterpret_cast<const __m128i *>(text + i));
        const auto tail = _mm_loadu_si128(reinterpret_cast<const __m128i *>(text + i + lastOffset));
        const __m128i fit = _mm_and_si128(
            _mm_cmpeq_epi8(_mm_or_si128(head, firstCase), first), _mm_cmpeq_epi8(_mm_or_si128(tail, lastCase), last));
        for (auto lanes = unsigned(_mm_movemask_epi8(fit)); lanes != 0; lanes &= lanes - 1) {
            if (matchesAt(text + i + __builtin_ctz(lanes), folded))
                return true;
        }
    }
    return containsPortable(text + i, size - i, folded);
}
#else
bool contains(const char *text, qsizetype size, const QByteArray &folded)
{
    return containsPortable(text, size, folded);
}
#endif

// memchr for the rare first byte, not memmem: glibc's memmem prepares every call as if for long needles, and
// that made it cost more than the whole search.
bool containsSequence(QByteArrayView bytes, QByteArrayView sequence)
{
    // An empty file may come as a null view, and memchr must never see a null pointer.
    if (bytes.isEmpty() || sequence.isEmpty())
        return false;
    const char *at = bytes.data();
    const char *end = bytes.data() + bytes.size();
    while ((at = static_cast<const char *>(std::memchr(at, sequence.front(), size_t(end - at)))) != nullptr) {
        if (QByteArrayView(at, end - at).startsWith(sequence))
            return true;
        ++at;
    }
    return false;
}

} // namespace

std::optional<RawTextFilter> RawTextFilter::forQuery(QStringView query)
{
    const QStringView needle = query.trimmed();
    if (needle.isEmpty())
        return std::nullopt;
    QByteArray folded;
    folded.reserve(needle.size());
    for (const QChar c : needle) {
        if (c.unicode() >= 0x80 || c == u'\n' || c == u'\r')
            return std::nullopt;
        const char byte = char(c.unicode());
        folded.append(isAsciiLetter(byte) ? char(byte | caseBit) : byte);
    }
    return RawTextFilter(std::move(folded));
}

RawTextFilter::RawTextFilter(QByteArray folded)
    : m_folded(std::move(folded))
    , m_kelvin(m_folded.contains('k'))
    , m_longS(m_folded.contains('s'))
{
}

bool RawTextFilter::mayHold(QByteArrayView bytes) const
{
    if (contains(bytes.data(), bytes.size(), m_folded))
        return true;
    // Rare in any text; where they occur, only decoding tells.
    return (m_kelvin && containsSequence(bytes, "\xE2\x84\xAA")) || (m_longS && containsSequence(bytes, "\xC5\xBF"));
}

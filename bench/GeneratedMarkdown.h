#pragma once

#include <QRandomGenerator>
#include <QString>
#include <QStringList>

// Markdown-like note text for the search benchmarks: headings, list items and paragraphs of varied length, words
// from a fixed vocabulary (a few non-ASCII ones among them), driven by the caller's seeded generator so that every
// run measures the same text.
namespace GeneratedMarkdown {

inline const QStringList &vocabulary()
{
    static const QStringList words = QStringLiteral(
        "the of and to in is was for it with as his on be at by had are but from or have an they which one you were "
        "her all she there would their we him been has when who will more no if out so said what up its about into "
        "than them can only other new some could time these two may then do first any my now such like our over "
        "man me even most made after also did many before must through back years where much your way well down "
        "should because each just those people how too little state good very make world still own see men work "
        "long get here between both life being under never day same another know while last might us great old "
        "year off come since against go came right used take three meeting garden invoice Monday recipe milk bread "
        "project draft release budget travel Berlin café naïve résumé Tuesday call email idea book list")
                                         .split(u' ');
    return words;
}

// At least `length` characters; a paragraph has up to `longestParagraph` words, a heading or item far fewer.
inline QString body(QRandomGenerator &random, qsizetype length, int longestParagraph)
{
    const QStringList &words = vocabulary();
    QString text;
    text.reserve(length + 400);
    while (text.size() < length) {
        const int kind = random.bounded(10);
        if (kind == 0)
            text += QStringLiteral("## ");
        else if (kind < 3)
            text += QStringLiteral("- ");
        const int count = kind < 3 ? 2 + random.bounded(8) : 5 + random.bounded(longestParagraph - 5);
        for (int i = 0; i < count; ++i) {
            if (i > 0)
                text += u' ';
            text += words.at(random.bounded(int(words.size())));
        }
        text += random.bounded(4) == 0 ? QStringLiteral("\n\n") : QStringLiteral("\n");
    }
    return text;
}

} // namespace GeneratedMarkdown

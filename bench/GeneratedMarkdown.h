#pragma once

#include <QRandomGenerator>
#include <QString>
#include <QStringList>

// Markdown-like note text for the benchmarks, the same on every run: plain bodies for the search benchmarks (words
// from a fixed vocabulary, a few non-ASCII ones among them, driven by the caller's seeded generator), and notes
// dense with every kind of Markdown the editor styles.
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

// A note of mixed Markdown as people write it: headings, paragraphs with emphasis, links, tags and code spans, runs of
// list items, tasks and quotes, and a closed code block now and then, with a blank line between blocks. The blank
// lines matter: they are paragraphs whose style never changes, so a restyle leaves gaps between the paragraphs it
// changes.
inline QString note(int lines)
{
    QRandomGenerator random(7);
    const QStringList words = {"note", "window", "sticky", "plain", "text", "folder", "markdown", "quick", "yellow",
        "editor", "styled", "marker", "layout", "paper", "desk", "idea"};
    const auto sentence = [&](int count) {
        QStringList out;
        for (int i = 0; i < count; ++i)
            out << words[random.bounded(words.size())];
        return out.join(u' ');
    };
    QStringList out;
    while (out.size() < lines) {
        if (!out.isEmpty())
            out << QString();
        const int items = 1 + random.bounded(4); // lines of one list, quote or paragraph
        switch (random.bounded(12)) {
        case 0:
            out << QStringLiteral("## ") + sentence(3);
            break;
        case 1:
        case 2:
            for (int i = 0; i < items; ++i)
                out << QStringLiteral("- ") + sentence(5) + QStringLiteral(" **") + sentence(2) + QStringLiteral("**");
            break;
        case 3:
            for (int i = 0; i < items; ++i)
                out << QStringLiteral("- [ ] ") + sentence(6) + QStringLiteral(" #tag");
            break;
        case 4:
            for (int i = 0; i < items; ++i)
                out << QStringLiteral("- [x] ") + sentence(4) + QStringLiteral(" ~~") + sentence(2)
                        + QStringLiteral("~~");
            break;
        case 5:
            for (int i = 0; i < items; ++i)
                out << QStringLiteral("> ") + sentence(7) + QStringLiteral(" *") + sentence(1) + u'*';
            break;
        case 6:
            if (random.bounded(4) == 0) {
                out << QStringLiteral("```") << QStringLiteral("let value = compute(") + sentence(1) + u')'
                    << QStringLiteral("print(value)") << QStringLiteral("```");
                break;
            }
            Q_FALLTHROUGH();
        case 7:
            for (int i = 0; i < items; ++i)
                out << QStringLiteral("%1. ").arg(i + 1) + sentence(4) + QStringLiteral(" [link](https://example.com/")
                        + sentence(1) + u')';
            break;
        default:
            for (int i = 0; i < items; ++i)
                out << sentence(4) + QStringLiteral(" *") + sentence(2) + QStringLiteral("* and `") + sentence(1)
                        + QStringLiteral("` with ") + sentence(2) + QStringLiteral(" [[Other note]]");
        }
    }
    out.resize(lines);
    return out.join(u'\n');
}

// A note of about 4 KB: a heading and the same paragraph, task list included, over and over.
inline QString loremNote()
{
    const QString paragraph = QStringLiteral(
        "Lorem ipsum dolor sit amet, **consectetur** adipiscing elit, sed do eiusmod tempor incididunt ut labore "
        "et dolore magna aliqua. Ut enim ad minim veniam, quis nostrud [exercitation](https://example.org) ullamco "
        "laboris nisi ut aliquip ex ea commodo consequat.\n\n- [ ] a task\n- [x] a done task\n\n");
    QString body = QStringLiteral("# A note\n\n");
    while (body.size() < 3900)
        body += paragraph;
    return body;
}

} // namespace GeneratedMarkdown

#pragma once

#include <QProxyStyle>

// The notes' scroll bar: thin and quiet, a rounded handle in a translucent dark that takes the note's colour, no
// arrows and no trough. One instance serves every note: a style sheet on each note's scroll bar would do the same
// but parse and keep its own rules per note, some 60 KB each.
class ThinScrollBarStyle : public QProxyStyle {
    Q_OBJECT

public:
    // The style for the scroll bars of all notes; it lives as long as the process.
    static ThinScrollBarStyle *shared();

    int pixelMetric(
        PixelMetric metric, const QStyleOption *option = nullptr, const QWidget *widget = nullptr) const override;
    QRect subControlRect(ComplexControl control, const QStyleOptionComplex *option, SubControl subControl,
        const QWidget *widget = nullptr) const override;
    void drawComplexControl(ComplexControl control, const QStyleOptionComplex *option, QPainter *painter,
        const QWidget *widget = nullptr) const override;

private:
    ThinScrollBarStyle() = default;
};

#pragma once

#include "protocol/AskEvent.h"
#include "protocol/LineSplitter.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QList>

// Turns the bytes of an answer stream into events. It gives the same events however the bytes are
// split into reads, and keeps at most one line (capped) in memory.
class EventLineParser
{
public:
    // Lines longer than this are dropped whole and the stream goes on.
    static constexpr qsizetype maxLineBytes = qsizetype(1) << 20;

    // Appends to `out` the events completed by these bytes.
    void feed(QByteArrayView bytes, QList<AskEvent>& out);
    // The end of the body: a last line without a line end still counts.
    void finish(QList<AskEvent>& out);

private:
    enum class Name { Route, Delta, Reset, Link, Done, Error, Other };

    void takeLine(QByteArrayView line, QList<AskEvent>& out);
    void takeData(QByteArrayView json, QList<AskEvent>& out) const;

    LineSplitter m_lines{maxLineBytes};
    Name m_name = Name::Other;
};

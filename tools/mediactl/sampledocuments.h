#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

// The sample's documents: PDFs, text notes, spreadsheets as CSV and ZIP archives, each one real
// enough to open. The seed varies their figures; the same seed gives the same bytes.
namespace SampleDocuments {

struct Document
{
    QString title;  // what the document is about, e.g. "quarterly report"
    QString suffix; // pdf, txt, csv or zip
    QByteArray bytes;
};

// Every sample document, in a fixed order; empty with a log line when one cannot be made.
QList<Document> make(quint32 seed);

} // namespace SampleDocuments

#pragma once

#include <QByteArray>
#include <QStringView>

#include <cstdio>

namespace MGImport8 {
class ImportRow;
}

namespace MGImport8::Tool {

/// Appends `text` as one JSON string (quotes included) in UTF-8, escaped byte for byte as
/// QJsonDocument writes it, without building a document per string.
void appendJsonString(QByteArray &out, QStringView text);

/// Appends one imported row as a JSON object on a line of its own, the columns in the row's order.
void appendJsonRow(QByteArray &out, const ImportRow &row);

/// The rows of an import as JSON Lines on a C stream, collected in a buffer and written in large
/// blocks. A failed write is remembered, so the run can end with an error instead of a summary
/// that claims every row was delivered.
class JsonLinesOutput
{
public:
    explicit JsonLinesOutput(std::FILE *file);
    ~JsonLinesOutput();
    JsonLinesOutput(const JsonLinesOutput &) = delete;
    JsonLinesOutput &operator=(const JsonLinesOutput &) = delete;

    void write(const ImportRow &row);
    /// Writes what is buffered and flushes the stream; false when any write failed.
    bool finish();

private:
    void drain();

    std::FILE *m_file;
    QByteArray m_buffer;
    bool m_failed = false;
};

} // namespace MGImport8::Tool

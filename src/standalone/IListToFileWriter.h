#pragma once

#include <QString>
#include <QStringList>

// Writes a list of texts to a file, one per line. The plug-in holds its writer
// through this interface so that a host or a test can supply another.
class IListToFileWriter
{
public:
    virtual ~IListToFileWriter() = default;

    // Replaces the file's content with the lines, each followed by "\n". A file
    // that cannot be written is skipped; nothing is reported.
    virtual void write(const QString& filePath, const QStringList& lines) = 0;
};

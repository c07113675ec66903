#pragma once

#include "IListToFileWriter.h"

// Writes list files as UTF-8 text through QSaveFile: the file appears complete or
// not at all, an existing file keeps its old content when writing fails, and no
// folder is ever created, so a path into a missing folder is skipped.
class ListToFileWriter : public IListToFileWriter
{
public:
    void write(const QString& filePath, const QStringList& lines) override;
};

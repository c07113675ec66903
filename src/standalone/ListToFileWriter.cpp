#include "ListToFileWriter.h"

#include <QSaveFile>

void ListToFileWriter::write(const QString& filePath, const QStringList& lines)
{
    if (filePath.isEmpty())
        return;
    QSaveFile file(filePath);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text))
        return;
    for (const QString& line : lines) {
        file.write(line.toUtf8());
        file.write("\n");
    }
    // A failed write or commit leaves the target as it was and removes the
    // partial copy; there is no one to tell.
    file.commit();
}

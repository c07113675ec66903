#include "ListFileLocations.h"

#include <QDir>
#include <QStandardPaths>
#include <QUrl>

namespace {
QString filePathIn(const QString& folder, const QString& fileName)
{
    return folder.isEmpty() ? QString() : QDir::cleanPath(folder + QLatin1Char('/') + fileName);
}

QString localFolderOf(const QString& directory)
{
    if (!directory.startsWith(QLatin1String("file:"), Qt::CaseInsensitive))
        return directory;
    return QUrl(directory).toLocalFile();
}
} // namespace

ListFileLocations::ListFileLocations(const QString& downloadFolder) : m_downloadFolder(downloadFolder) {}

QString ListFileLocations::macListFilePath(const QString& directory)
{
    return filePathIn(localFolderOf(directory), macListFileName());
}

QString ListFileLocations::streamingUrlListFilePath() const
{
    return filePathIn(downloadFolder(), streamingUrlListFileName());
}

QString ListFileLocations::downloadFolder() const
{
    if (!m_downloadFolder.isEmpty())
        return m_downloadFolder;
    return QStandardPaths::writableLocation(QStandardPaths::DownloadLocation);
}

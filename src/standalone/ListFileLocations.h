#pragma once

#include <QString>

// Where the module's list files go: the camera MAC list into a folder that the
// caller names, the streaming URL list into the user's download folder. A host or
// a test names another download folder through the constructor.
//
// An empty path means "nowhere": a writer skips it. This is the answer when the
// caller names no folder or the system knows no download folder, so that neither
// file ever lands in the file system's root or the working folder.
class ListFileLocations
{
public:
    static QString macListFileName() { return QStringLiteral("QELM2Generated_MacList.txt"); }
    static QString streamingUrlListFileName() { return QStringLiteral("StreamingUrlList.csv"); }

    // An empty downloadFolder stands for the user's download folder, asked of the
    // system at each use.
    explicit ListFileLocations(const QString& downloadFolder = QString());

    // The folder may also be given as a local "file:" URL, the form that QML
    // folder dialogs hand out.
    static QString macListFilePath(const QString& directory);
    QString streamingUrlListFilePath() const;
    QString downloadFolder() const;

private:
    QString m_downloadFolder;
};

#pragma once

#include <MGImport8/importtypes.h>

#include <QList>
#include <QString>
#include <QStringList>

namespace pugi {
class xml_node;
}

namespace MGImport8 {

/// Fills the import method catalogue from the method files. Internal to the library and its own
/// tools (the header is not installed): hosts get a loaded catalogue through the wizard.
class CatalogueLoader
{
public:
    /// What happened to one method file, for administrators checking their files. The catalogue
    /// itself only keeps the last failure's message in `LastError`.
    struct FileReport
    {
        QString path;
        bool loaded = false;
        /// Why the file could not be loaded (parser message with line and column), if it was not.
        QString problem;
        /// Methods the file added to the catalogue.
        QStringList added;
        /// Names the file defined again; the method loaded first under each name was kept.
        QStringList duplicates;
        /// `ImportMethod` elements without a NAME attribute, skipped.
        int unnamed = 0;
    };

    /// Method files larger than this are refused unread; real ones are a few kilobytes.
    static constexpr qint64 MaxFileBytes = 16 * 1024 * 1024;

    /// The folders searched, in order: the library's own folder, then each folder of the
    /// colon-separated MGIMPORT8_METHODS_PATH. Each folder appears once.
    static QStringList methodFolders();

    /// Loads every `*.ImportMethods` file of every method folder, each folder's files in the order
    /// the file system lists them. A failing file does not stop the scan.
    static void Load(ImportTypes &catalogue, QList<FileReport> *reports = nullptr);
    /// Loads every `*.ImportMethods` file of one folder.
    static void LoadFolder(ImportTypes &catalogue, const QString &folder,
                           QList<FileReport> *reports = nullptr);
    /// Loads one file. On failure sets `LastError` and leaves the catalogue as it was.
    static FileReport LoadFile(ImportTypes &catalogue, const QString &path);

    /// Loads method definitions held in memory; `path` names them in messages.
    static FileReport LoadBuffer(ImportTypes &catalogue, QByteArray buffer, const QString &path);

    /// Reads one `ImportMethod` element into a method; true when the method got a name.
    static bool ReadMethod(ImportType &method, const pugi::xml_node &node);
};

} // namespace MGImport8

#pragma once

#include <QString>

namespace MGImport8 {

/// Special folders by the numbers that callers pass, which are the legacy shell's folder codes.
/// Only the folders listed here resolve; any other code gives an empty path.
enum class SpecialFolder : int {
    /// The user's desktop folder (XDG desktop directory).
    Desktop = 0x0000,
    /// The user's documents folder (XDG documents directory).
    Personal = 0x0005,
    /// The user's music folder.
    MyMusic = 0x000d,
    /// The user's videos folder.
    MyVideo = 0x000e,
    /// The user's desktop folder as a file-system folder; the same as Desktop here.
    DesktopDirectory = 0x0010,
    /// The user's fonts folder (XDG data home/fonts).
    Fonts = 0x0014,
    /// Roaming application data: the user's configuration folder, $XDG_CONFIG_HOME (~/.config).
    AppData = 0x001a,
    /// Local application data: the user's data folder, $XDG_DATA_HOME (~/.local/share).
    LocalAppData = 0x001c,
    /// The user's cache folder, $XDG_CACHE_HOME (~/.cache).
    InternetCache = 0x0020,
    /// Machine-wide application settings: the first of $XDG_CONFIG_DIRS (/etc/xdg).
    CommonAppData = 0x0023,
    /// The operating system's own tree: /usr.
    Windows = 0x0024,
    /// The system's shared libraries: /usr/lib.
    System = 0x0025,
    /// Where the component is installed: the prefix above the library folder.
    ProgramFiles = 0x0026,
    /// The user's pictures folder.
    MyPictures = 0x0027,
    /// The user's home folder.
    Profile = 0x0028,
    /// The 32-bit program files folder of 64-bit systems; the install prefix here as well.
    ProgramFilesX86 = 0x002a,
    /// Components shared between programs: the prefix's lib folder.
    ProgramFilesCommon = 0x002b,
    /// Files shared by all users: the first of $XDG_DATA_DIRS (/usr/local/share).
    CommonDocuments = 0x002e,
};

/// The path of a special folder (SpecialFolder codes), without a trailing separator, or an empty
/// string for a code that names no folder here. Folders are not created.
QString GetSpecialFolder(int folderId);

/// The install prefix that a library folder belongs to: the folder above "lib" (also "lib64",
/// "lib32", "libx32") when `libraryFolder` is that folder or one level below it, as in
/// PREFIX/lib/x86_64-linux-gnu. Empty when the folder is not laid out that way.
QString installPrefixOf(const QString &libraryFolder);

/// The install prefix of the running component, from the library's own folder, or the prefix it
/// was configured for when the library is not laid out as installed.
QString installPrefix();

} // namespace MGImport8

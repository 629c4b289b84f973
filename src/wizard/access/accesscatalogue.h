#pragma once

#include <QByteArrayView>

#include <mdbtools.h>

namespace MGImport8::AccessCatalogue {

/// Reads the system catalogue (MSysObjects) into `mdb->catalog` as the library would, but checks
/// each object's property block before the library parses it: a block whose record lengths do
/// not add up is dropped (its object keeps no properties) instead of sending the library's parser
/// into an endless loop or past the block's end. Property blocks are read up to a fixed size.
/// `bindSize` is the handle's bind size.
enum class Outcome {
    Unreadable, ///< the catalogue's table cannot be read
    Damaged,    ///< read, but some object's name or properties the library must not see again
    Sound,
};
Outcome read(MdbHandle *mdb, size_t bindSize);

/// Whether a property block ("KKD" or "MR2") is consistent: every record lies within the block
/// and moves the parser forward, every value is as long as its type needs.
bool propertiesConsistent(QByteArrayView block);

} // namespace MGImport8::AccessCatalogue

#include "sqladmin/admin/sqladmin_p.h"

#include "common/xmlnodes.h"

#include <pugixml.hpp>

using namespace Qt::StringLiterals;

namespace MGImport8 {

namespace SqlAdmin {

void SaveSettings(const SQLAdmin &admin, pugi::xml_document &Document, pugi::xml_node Parent)
{
    const auto *d = &SQLAdminAccess::of(admin);
    pugi::xml_node element = AddElement(Document, Parent, u"SQLServer", u"");
    AddAttribute(Document, element, u"Server", d->serverName);
    AddAttribute(Document, element, u"Security", d->integrated ? u"Integrated"_s : u"SQL"_s);
    AddAttribute(Document, element, u"Login", d->loginName);
    AddAttribute(Document, element, u"Password", d->loginPassword);
}

void LoadSettings(SQLAdmin &admin, const pugi::xml_node &Node)
{
    auto *d = &SQLAdminAccess::of(admin);
    for (const pugi::xml_attribute &attribute : Node.attributes()) {
        const QString name = QString::fromUtf8(attribute.name()).toUpper();
        const QString value = QString::fromUtf8(attribute.value());
        if (name == u"SERVER"_s)
            d->serverName = value;
        else if (name == u"SECURITY"_s)
            d->integrated = value.toUpper() == u"INTEGRATED"_s;
        else if (name == u"LOGIN"_s)
            d->loginName = value;
        else if (name == u"PASSWORD"_s)
            d->loginPassword = value;
    }
}

} // namespace SqlAdmin

} // namespace MGImport8

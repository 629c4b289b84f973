// SQLAdmin and the management layer against a real PostgreSQL cluster:
// - the operating-system identity lists the databases in the server's order, with the server's
//   facts; a closed port fails with the driver's reason; the system-administrator requirement
//   refuses an ordinary login with the exact message; VerifyDatabase tells a monitoring database
//   apart;
// - the catalogue keeps the server's type spelling, lengths, nullability, identity, defaults,
//   generated expressions and key order, for names with quotes, brackets and semicolons too;
//   routines made through the layer keep a creation date across a restart, a stopped server is an
//   error at once;
// - CreateUserID makes a working login whatever its name, grants CONNECT and the account roles
//   that exist, and run again resets the password; TestUserIDAndPassword remembers the account
//   whatever the outcome; DoesAccountExist compares exactly, ignores PUBLIC's CONNECT and repairs;
//   an ASCII password travels as its SCRAM secret; a login without rights gets the refusal;
// - WriteDataDictionary writes the user tables in the server's order;
//   UpdateDataDictionary adds only missing fields, matching without case or trimming,
//   keeps hand edits, stops at a name holding a double quote with the file as it was, and starts
//   a file that is not XML afresh with its bytes kept aside.
#include <MGImport8/sqladmin.h>

#include "admintesting.h"
#include "pgcluster.h"
#include "sqladmin/dialect.h"
#include "sqladmin/manageddatabase.h"
#include "sqladmin/managementserver.h"
#include "testsupport.h"

#include <QDateTime>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QSysInfo>

#include <pugixml.hpp>

#include <gtest/gtest.h>

// Compares two texts and shows them, not their code units, when they differ.
#define EXPECT_TEXT(actual, expected)                                                              \
    EXPECT_EQ(QString(actual).toStdString(), QString(expected).toStdString())

using namespace Qt::StringLiterals;
using MGImport8::SQLAdmin;
using MGImport8::SqlAdmin::ManagedDatabase;
using MGImport8::SqlAdmin::ObjectName;
using MGImport8::Test::describe;
using MGImport8::Test::fileBytes;
using MGImport8::Test::PgCluster;
using MGImport8::Test::postgresAdmin;
using MGImport8::Test::TempFolder;

namespace {

// An admin connected as a system administrator: the operating-system user's over the socket
// unless a login is given.
std::unique_ptr<SQLAdmin> connected(const QString &server, const QString &login = {},
                                    const QString &password = {})
{
    auto admin = postgresAdmin(server, login, password);
    EXPECT_TRUE(admin->Connect(true)) << admin->LastError().toStdString();
    return admin;
}
std::unique_ptr<SQLAdmin> connectedAdmin(PgCluster *cluster)
{
    return connected(cluster->socketServerName());
}

const QString plainUser = u"monitor"_s;
const QString plainPassword = u"It's [a] pass;word"_s;
const QString oddTable = u"we\"ird]; [name"_s;
const QString database = u"accounts"_s;
const QString password = u"It's; {a} \"pass\\word\" ünï 🔑"_s;

// The logins and databases the tests share, made once. The accounts database has no
// db_ddladmin: the other three roles are granted.
bool prepare(PgCluster *cluster)
{
    static const bool done = [cluster] {
        return cluster->psqlSteps({
            {u"postgres"_s, u"CREATE ROLE monitor LOGIN PASSWORD 'It''s [a] pass;word'"_s},
            {u"postgres"_s, u"CREATE DATABASE \"Monitoring\""_s},
            {u"postgres"_s, u"CREATE DATABASE \"Empty\""_s},
            {u"Monitoring"_s, u"CREATE TABLE \"Nodes\" (id int); CREATE TABLE interfaces (id int); "
                              u"GRANT SELECT ON ALL TABLES IN SCHEMA public TO monitor"_s},
            {u"postgres"_s, u"CREATE DATABASE catalogue"_s},
            {u"catalogue"_s,
             u"CREATE TABLE \"Nodes\" (\"ID\" int GENERATED ALWAYS AS IDENTITY, "
             u"\"IP\" varchar(15) NOT NULL DEFAULT '0.0.0.0', \"Zone\" char(4), "
             u"\"Seen\" timestamptz, \"Label\" text GENERATED ALWAYS AS (\"IP\" || '/' || "
             u"\"Zone\") STORED, CONSTRAINT \"PK_Nodes\" PRIMARY KEY (\"IP\", \"ID\"));"
             u"CREATE INDEX \"IX_Zone\" ON \"Nodes\" (\"Zone\", \"Seen\");"
             u"CLUSTER \"Nodes\" USING \"PK_Nodes\";"
             u"CREATE TABLE \"we\"\"ird]; [name\" (a serial);"
             u"CREATE SCHEMA audit; CREATE TABLE audit.\"Nodes\" (x int);"
             u"CREATE VIEW plain_view AS SELECT 1 AS one;"_s},
            {u"postgres"_s, u"CREATE DATABASE accounts"_s},
            {u"postgres"_s, u"CREATE ROLE db_datareader; CREATE ROLE db_datawriter; "
                            u"CREATE ROLE db_owner; CREATE ROLE \"DB_DATAREADER\"; "
                            u"CREATE ROLE victim LOGIN; "
                            u"CREATE ROLE plain LOGIN PASSWORD 'plain-pw'; "
                            u"CREATE ROLE elsewhere LOGIN"_s},
            {u"postgres"_s, u"CREATE DATABASE dictionary"_s},
            {u"dictionary"_s,
             u"CREATE TABLE \"NODES\" (id int, \"Name\" varchar(50), note text); "
             u"CREATE TABLE \"Interfaces\" (descr character(8)); "
             u"CREATE SCHEMA inventory; CREATE TABLE inventory.racks (id int); "
             u"CREATE TABLE \"odd\"\"name\" (x int); CREATE VIEW vw AS SELECT 1 AS a"_s},
        });
    }();
    return done;
}

/// psql's unaligned output, without headers, for a query as the superuser.
QString ask(PgCluster *cluster, const QString &sql)
{
    QString output;
    EXPECT_TRUE(cluster->psql(u"postgres"_s, sql, &output)) << output.toStdString();
    return output.trimmed();
}

QString literal(const QString &text)
{
    return u"'"_s + QString(text).replace(u"'"_s, u"''"_s) + u"'"_s;
}

/// The account roles the login belongs to and whether it has CONNECT of its own.
QString grantsOf(PgCluster *cluster, const QString &login)
{
    return ask(cluster, u"SELECT string_agg(r.rolname, ',' ORDER BY r.rolname) || ' ' || "
                        u"(SELECT count(*) FROM pg_database d, aclexplode(d.datacl) a WHERE "
                        u"d.datname = 'accounts' AND a.grantee = m.oid AND a.privilege_type = "
                        u"'CONNECT') FROM pg_roles m JOIN pg_auth_members am ON am.member = "
                        u"m.oid JOIN pg_roles r ON r.oid = am.roleid WHERE m.rolname = "_s
                            + literal(login) + u" GROUP BY m.oid"_s);
}

const QString crlf = u"\r\n"_s;

/// The elements of a file, one per line, indented by depth, with their attributes in order.
QString outline(const QString &path)
{
    pugi::xml_document document;
    const pugi::xml_parse_result parsed = document.load_file(path.toStdString().c_str());
    if (!parsed)
        return u"not XML: "_s + QString::fromUtf8(parsed.description());
    QString text;
    const auto walk = [&text](auto &self, const pugi::xml_node &node, int depth) -> void {
        for (const pugi::xml_node &child : node.children()) {
            if (child.type() != pugi::node_element)
                continue;
            text += QString(depth, u' ') + QString::fromUtf8(child.name());
            for (const pugi::xml_attribute &attribute : child.attributes())
                text += u' ' + QString::fromUtf8(attribute.name()) + u"=\""_s
                        + QString::fromUtf8(attribute.value()) + u'"';
            text += u'\n';
            self(self, child, depth + 1);
        }
    };
    walk(walk, document, 0);
    return text;
}

QString field(const QString &name, const QString &type, const QString &length,
              const QString &hidden = u"TRUE"_s)
{
    return u"    Field Name=\""_s + name + u"\" Priority=\"10\" Hidden=\""_s + hidden
           + u"\" Editable=\"FALSE\" ValidRange=\"\" Parser=\"\" Selection=\""_s + name
           + u"\" Header=\""_s + name
           + u"\" Alignment=\"\" Format=\"\" Units=\"\" Hyperlink=\"\" DataType=\""_s + type
           + u"\" Length=\""_s + length + u"\" Width=\"\" Description=\"\"\n"_s;
}

// The log of one table's update: its line, then one per field added.
QString updating(const QString &table, const QStringList &added = {})
{
    QString log = u"    Updating Table: "_s + table + crlf;
    for (const QString &name : added)
        log += u"        Added Field: "_s + name + crlf;
    return log;
}

} // namespace

TEST(SQLAdminPostgres, IdentityLoginListsDatabasesAndAClosedPortSaysWhy)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    auto admin = connectedAdmin(cluster);
    const QStringList names = admin->Databases();
    EXPECT_EQ(names.first(), u"postgres"_s);
    EXPECT_LT(names.indexOf(u"Monitoring"_s), names.indexOf(u"Empty"_s));
    EXPECT_FALSE(names.contains(u"template1"_s));
    EXPECT_TRUE(admin->DatabaseExist(u"MONITORING"_s));
    EXPECT_FALSE(admin->DatabaseExist(u"Monitor"_s));
    EXPECT_TRUE(admin->SQlServerVersion().startsWith(u"PostgreSQL 15"_s));
    EXPECT_EQ(admin->ServerNetName(), QSysInfo::machineHostName());
    EXPECT_EQ(admin->DatabaseSecurityMode(), 2); // peer and passwords
    EXPECT_TRUE(admin->DefaultDataPath().endsWith(u"/data/"_s));
    admin->Disconnect();
    EXPECT_FALSE(admin->DatabaseExist(u"Monitoring"_s));

    auto closed = postgresAdmin(u"127.0.0.1:1"_s, plainUser, plainPassword);
    EXPECT_FALSE(closed->Connect(false));
    EXPECT_TRUE(closed->LastError().contains(u"Connection refused"_s))
        << closed->LastError().toStdString();
    EXPECT_TRUE(closed->Databases().isEmpty());
}

TEST(SQLAdminPostgres, OrdinaryLoginIsNoAdministratorButConnectsAndVerifies)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    auto admin = postgresAdmin(cluster->socketServerName(), plainUser, plainPassword);
    EXPECT_FALSE(admin->Connect(true));
    EXPECT_EQ(admin->LastError(), u"monitor does not have system administrator rights on this SQL "
                                  u"Server ("_s
                                      + QSysInfo::machineHostName() + u")"_s);
    EXPECT_TRUE(admin->Connect(false)) << admin->LastError().toStdString();
    const QString server = cluster->tcpServerName();
    {
        MGImport8::DatabaseHandle handle = admin->DatabaseConnection(server, u"Monitoring"_s);
        ASSERT_TRUE(handle.isOpen()) << admin->LastError().toStdString();
        QSqlQuery query(handle.database());
        ASSERT_TRUE(query.exec(u"SELECT current_user || current_database()"_s) && query.next());
        EXPECT_EQ(query.value(0).toString(), plainUser + u"Monitoring"_s);
    }
    EXPECT_TRUE(admin->VerifyDatabase(server, u"Monitoring"_s));
    EXPECT_FALSE(admin->VerifyDatabase(server, u"Empty"_s));
    EXPECT_FALSE(admin->VerifyDatabase(server, u"Missing"_s));
    EXPECT_EQ(admin->LastError(), QString());
}

TEST(CataloguePostgres, TablesColumnsKeysAndIndexes)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    auto admin = connectedAdmin(cluster);
    ManagedDatabase *db = admin->GetDatabase(u"CATALOGUE"_s);
    ASSERT_NE(db, nullptr) << admin->LastError().toStdString();

    auto tables = db->tables();
    ASSERT_TRUE(tables) << tables.error().toStdString();
    EXPECT_EQ(tables.value(), (QList<ObjectName>{{u"audit"_s, u"Nodes"_s},
                                                 {u"public"_s, u"Nodes"_s},
                                                 {u"public"_s, oddTable}}));
    EXPECT_EQ(db->findTable(u"Nodes"_s).value().schema, u"public"_s);
    EXPECT_EQ(db->findTable(u"nodes"_s).value().schema, u"audit"_s);
    EXPECT_EQ(db->findTable(u"audit.Nodes"_s).value().schema, u"audit"_s);

    EXPECT_EQ(describe(db->columns({u"public"_s, u"Nodes"_s}).value()),
              (QStringList{u"ID integer 4 identity"_s,
                           u"IP character varying 15 default='0.0.0.0'::character varying"_s,
                           u"Zone character 4 null"_s, u"Seen timestamp with time zone 8 null"_s,
                           u"Label text -1 null computed=(((\"IP\")::text || '/'::text) || "
                           u"(\"Zone\")::text)"_s}));
    auto key = db->primaryKey({u"public"_s, u"Nodes"_s}).value();
    EXPECT_EQ(QStringList(key.name) << key.columns << QString::number(key.clustered),
              (QStringList{u"PK_Nodes"_s, u"IP"_s, u"ID"_s, u"1"_s}));
    EXPECT_EQ(describe(db->indexes({u"public"_s, u"Nodes"_s}).value()),
              (QStringList{u"PK_Nodes(IP,ID) unique clustered primary"_s, u"IX_Zone(Zone,Seen)"_s}));

    EXPECT_EQ(describe(db->columns({u"public"_s, oddTable}).value()),
              QStringList{
                  u"a integer 4 identity default=nextval('\"we\"\"ird]; [name_a_seq\"'::regclass)"_s});
    EXPECT_TRUE(db->primaryKey({u"public"_s, oddTable}).value().columns.isEmpty());
}

TEST(CataloguePostgres, CreationDatesSurviveARestartAndAStopIsReportedAtOnce)
{
    QString reason;
    std::unique_ptr<PgCluster> cluster = PgCluster::create(&reason);
    if (!cluster)
        GTEST_SKIP() << "PostgreSQL is not available: " << reason.toStdString();
    ASSERT_TRUE(cluster->psql(u"postgres"_s, u"CREATE VIEW behind_back AS SELECT 1 AS one"_s));
    const QDateTime before = QDateTime::currentDateTimeUtc().addSecs(-1);
    {
        auto admin = connected(cluster->socketServerName());
        ManagedDatabase *db = admin->GetDatabase(u"postgres"_s);
        ASSERT_NE(db, nullptr);
        ASSERT_TRUE(db->createRoutine(u'V', {u"public"_s, u"made_here"_s},
                                      u"CREATE VIEW made_here AS SELECT 2 AS two"_s));
        ASSERT_TRUE(db->createRoutine(u'F', {u"public"_s, u"double_it"_s},
                                      u"CREATE FUNCTION double_it(int) RETURNS int LANGUAGE sql "
                                      u"AS 'SELECT $1 * 2'"_s));
        // A failed CREATE records nothing and leaves no half-made object.
        EXPECT_FALSE(db->createRoutine(u'V', {u"public"_s, u"broken"_s},
                                       u"CREATE VIEW broken AS SELECT * FROM nowhere"_s));
    }
    ASSERT_TRUE(cluster->stop());
    ASSERT_TRUE(cluster->start());

    auto admin = connected(cluster->socketServerName());
    ManagedDatabase *db = admin->GetDatabase(u"postgres"_s);
    ASSERT_NE(db, nullptr);
    auto views = db->views();
    ASSERT_EQ(views.value().size(), 2);
    EXPECT_EQ(views.value()[0].object.name, u"behind_back"_s);
    EXPECT_FALSE(views.value()[0].created.isValid());
    EXPECT_EQ(views.value()[1].object.name, u"made_here"_s);
    EXPECT_GE(views.value()[1].created, before);
    ASSERT_EQ(db->functions().value().size(), 1);
    EXPECT_GE(db->functions().value()[0].created, before);
    EXPECT_EQ(db->tables().value(), QList<ObjectName>()); // the record is not a user table

    ASSERT_TRUE(cluster->stop());
    auto cut = db->views();
    EXPECT_TRUE(!cut && !cut.error().isEmpty());
    EXPECT_TRUE(admin->Databases().isEmpty());
    EXPECT_FALSE(admin->Connect(false));
}

TEST(LoginsPostgres, CreateUserIDMakesAWorkingAccountWhateverItsName)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    for (const QString &login : {u"dom\\user"_s, u"a\"b; DROP ROLE victim; --"_s, u"Ünïcode"_s}) {
        SCOPED_TRACE(login.toStdString());
        auto admin = connectedAdmin(cluster);
        ASSERT_TRUE(admin->CreateUserID(database, login, password))
            << admin->LastError().toStdString();
        EXPECT_EQ(grantsOf(cluster, login), u"db_datareader,db_datawriter,db_owner 1"_s);
        // A second creation resets the password and rebuilds the same grants.
        const QString second = password + u"2"_s;
        ASSERT_TRUE(admin->CreateUserID(database, login, second));
        EXPECT_EQ(grantsOf(cluster, login), u"db_datareader,db_datawriter,db_owner 1"_s);

        auto tester = postgresAdmin(cluster->tcpServerName());
        EXPECT_FALSE(tester->TestUserIDAndPassword(database, login, password));
        EXPECT_FALSE(tester->LastError().contains(password));
        // The failed test still remembers the account for connection strings.
        EXPECT_TRUE(tester->BuildConnectionString(u"S"_s, database)
                        .contains(u"Password='"_s + password + u"'"_s));
        EXPECT_TRUE(tester->TestUserIDAndPassword(database, login, second))
            << tester->LastError().toStdString();
    }
    EXPECT_EQ(ask(cluster, u"SELECT count(*) FROM pg_roles WHERE rolname = 'victim'"_s), u"1"_s);
}

TEST(LoginsPostgres, DoesAccountExistComparesExactlyAndRepairs)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    auto admin = connectedAdmin(cluster);
    ASSERT_TRUE(admin->CreateUserID(database, u"repaired"_s, password));
    // Taken apart by hand: a role lost, the default database elsewhere.
    ASSERT_TRUE(cluster->psql(u"postgres"_s, u"REVOKE db_owner FROM repaired; ALTER ROLE repaired "
                                             u"SET mgimport8.default_database = 'postgres'"_s));
    EXPECT_FALSE(admin->DoesAccountExist(u"ACCOUNTS"_s, u"repaired"_s));
    // PUBLIC may connect to every database; that makes no login a user of it.
    EXPECT_FALSE(admin->DoesAccountExist(database, u"elsewhere"_s));
    EXPECT_TRUE(admin->DoesAccountExist(database, u"repaired"_s))
        << admin->LastError().toStdString();
    EXPECT_EQ(grantsOf(cluster, u"repaired"_s), u"db_datareader,db_datawriter,db_owner 1"_s);
    EXPECT_TRUE(ask(cluster, u"SELECT setconfig FROM pg_db_role_setting s JOIN pg_roles r ON "
                             u"r.oid = s.setrole WHERE r.rolname = 'repaired'"_s)
                    .contains(u"mgimport8.default_database=accounts"_s));
    EXPECT_EQ(grantsOf(cluster, u"elsewhere"_s), QString());
}

TEST(LoginsPostgres, PasswordChangesAndRefusals)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    auto admin = connectedAdmin(cluster);
    ASSERT_TRUE(admin->CreateUserID(database, u"changed"_s, u"first"_s));
    auto tester = postgresAdmin(cluster->socketServerName());

    // An ASCII password travels as the secret the server stores, never as itself.
    const QString ascii = u"Plain 'pw'; {x} \\ \"q\""_s;
    const auto dialect = MGImport8::SqlAdmin::Dialect::create(
        MGImport8::SqlAdmin::ServerKind::PostgreSql);
    const QString statement = dialect->setPasswordStatement(u"changed"_s, ascii);
    EXPECT_TRUE(statement.startsWith(u"ALTER ROLE \"changed\" PASSWORD E'SCRAM-SHA-256$4096:"_s));
    EXPECT_FALSE(statement.contains(u"Plain"_s));
    ASSERT_TRUE(admin->ChangeUserPassword(u"changed"_s, ascii));
    EXPECT_TRUE(tester->TestUserIDAndPassword(database, u"changed"_s, ascii))
        << tester->LastError().toStdString();
    EXPECT_FALSE(tester->TestUserIDAndPassword(database, u"changed"_s, ascii + u" "_s));

    // A login without the right to create roles is refused by the server, in its words.
    auto plain = postgresAdmin(cluster->tcpServerName(), u"plain"_s, u"plain-pw"_s);
    ASSERT_TRUE(plain->Connect(false)) << plain->LastError().toStdString();
    EXPECT_FALSE(plain->CreateUserID(database, u"intruder"_s, password));
    EXPECT_TRUE(plain->LastError().contains(u"permission denied to create role"_s))
        << plain->LastError().toStdString();
    EXPECT_FALSE(plain->LastError().contains(password));
    EXPECT_EQ(ask(cluster, u"SELECT count(*) FROM pg_roles WHERE rolname = 'intruder'"_s), u"0"_s);
}

TEST(DictionaryPostgres, HandEditsStayAndMissingFieldsComeBack)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    auto admin = connectedAdmin(cluster);
    TempFolder folder;
    // Edited by hand: one field shown and renamed in its header, one removed, a comment kept.
    const QString file = folder.write(
        u"edited.xml"_s,
        "<?xml version=\"1.0\" encoding=\"windows-1252\"?>\n<!-- kept -->\n<Dictionary><Tables>"
        "<Table Name=\"NODES\"><Fields><Field Name=\"Name\" Hidden=\"FALSE\" Header=\"Node\"/>"
        "</Fields></Table><Table Name=\"Other\"/></Tables></Dictionary>");
    QString log;
    ASSERT_TRUE(admin->UpdateDataDictionary(u"dictionary"_s, u"nodes"_s, file, log))
        << admin->LastError().toStdString();
    EXPECT_TEXT(log, updating(u"NODES"_s, {u"id"_s, u"note"_s}));
    EXPECT_TEXT(outline(file), u"Dictionary\n Tables\n  Table Name=\"NODES\"\n   Fields\n"_s
                               u"    Field Name=\"Name\" Hidden=\"FALSE\" Header=\"Node\"\n"_s
                                   + field(u"id"_s, u"integer"_s, u"4"_s)
                                   + field(u"note"_s, u"text"_s, u"-1"_s)
                                   + u"  Table Name=\"Other\"\n"_s);
    const QByteArray saved = fileBytes(file);
    EXPECT_TRUE(saved.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>")) << saved.data();
    EXPECT_TRUE(saved.contains("<!-- kept -->"));

    // Again: a blank after the comma belongs to the next name, so " inventory.racks" selects
    // nothing; only the table line, and the file as it was.
    log.clear();
    ASSERT_TRUE(
        admin->UpdateDataDictionary(u"dictionary"_s, u"NODES, inventory.racks"_s, file, log));
    EXPECT_TEXT(log, updating(u"NODES"_s));
    EXPECT_EQ(fileBytes(file), saved);
}

TEST(DictionaryPostgres, ErrorExitLeavesTheFileAsItWas)
{
    MGIMPORT8_REQUIRE_POSTGRES(cluster);
    ASSERT_TRUE(prepare(cluster));
    auto admin = connectedAdmin(cluster);
    TempFolder folder;
    const QString file = folder.path() + u"/dictionary.xml"_s;
    ASSERT_TRUE(admin->WriteDataDictionary(u"dictionary"_s, file));
    const QByteArray written = fileBytes(file);
    // The user tables in the server's order, by schema then name; no system table, no view.
    EXPECT_EQ(outline(file).split(u'\n').filter(u"Table Name"_s),
              (QStringList{u"   Table Name=\"inventory.racks\""_s, u"   Table Name=\"Interfaces\""_s,
                           u"   Table Name=\"NODES\""_s, u"   Table Name=\"odd\"name\""_s}));
    const QString prefix = u"Cannot create Data Dictionary Template ("_s + file + u")"_s + crlf;

    QString log;
    EXPECT_FALSE(admin->UpdateDataDictionary(u"dictionary"_s, u"NODES,odd\"name"_s, file, log));
    EXPECT_TEXT(admin->LastError(),
                prefix
                    + u"The XPath expression /Dictionary/Tables/Table[@Name=\"odd\"name\"] cannot "
                      u"be evaluated: the name holds a double quote."_s);
    EXPECT_TRUE(log.startsWith(updating(u"NODES"_s)));
    EXPECT_TRUE(log.endsWith(updating(u"odd\"name"_s)));
    EXPECT_EQ(fileBytes(file), written);

    // A file that is not XML starts afresh, its old bytes kept aside first.
    const QString broken = folder.write(u"broken.xml"_s, "<Dictionary><Tables>");
    log.clear();
    EXPECT_TRUE(admin->UpdateDataDictionary(u"dictionary"_s, u"NODES"_s, broken, log))
        << admin->LastError().toStdString();
    EXPECT_EQ(fileBytes(broken + u".unreadable"_s), QByteArray("<Dictionary><Tables>"));
    EXPECT_TRUE(fileBytes(broken).contains("<Table Name=\"NODES\""));
    EXPECT_FALSE(admin->WriteDataDictionary(u"missing"_s, file));
    EXPECT_TEXT(admin->LastError(), prefix + u"Database 'missing' does not exist on the server."_s);
    EXPECT_EQ(fileBytes(file), written);
}

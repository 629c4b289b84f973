#include "dbstructure/structurestatements.h"

#include "dbstructure/columnspelling.h"
#include "sqladmin/nameguard.h"

using namespace Qt::StringLiterals;

namespace MGImport8::DbStructure {

namespace {

QString nullRule(bool allowNulls)
{
    return allowNulls ? u" NULL"_s : u" NOT NULL"_s;
}

class PostgresStatements : public StructureStatements
{
public:
    QString quote(const QString &name) const override { return SqlAdmin::quotedIdentifier(name); }
    QStringList addColumn(const SqlAdmin::ObjectName &t, const ColumnTemplate &c) const override
    {
        QString text = u"ALTER TABLE "_s + table(t) + u" ADD COLUMN "_s + quote(c.name) + u' '
                       + columnTypeDeclaration(c.dataType, c.length, false);
        if (c.isComputed)
            text += u" GENERATED ALWAYS AS ("_s + c.computedText + u") STORED"_s;
        else if (!c.defaultText.isEmpty())
            text += u" DEFAULT "_s + c.defaultText;
        return {text + nullRule(c.allowNulls)};
    }
    QStringList alterColumnType(const SqlAdmin::ObjectName &t, const SqlAdmin::ColumnInfo &current,
                                const QString &dataType, int length) const override
    {
        const QString type = columnTypeDeclaration(dataType, length, false);
        return {u"ALTER TABLE "_s + table(t) + u" ALTER COLUMN "_s + quote(current.name)
                + u" TYPE "_s + type + u" USING "_s + quote(current.name) + u"::"_s + type};
    }
    QStringList setDefault(const SqlAdmin::ObjectName &t, const QString &column,
                           const QString &expression) const override
    {
        const QString head = u"ALTER TABLE "_s + table(t) + u" ALTER COLUMN "_s + quote(column);
        if (expression.isEmpty())
            return {head + u" DROP DEFAULT"_s};
        return {head + u" SET DEFAULT "_s + expression};
    }
    // PostgreSQL 15 cannot change a generation expression: the column is dropped and added again,
    // which a stored computed column allows without losing anything.
    QStringList setComputed(const SqlAdmin::ObjectName &t, const SqlAdmin::ColumnInfo &current,
                            const QString &expression) const override
    {
        return {u"ALTER TABLE "_s + table(t) + u" DROP COLUMN "_s + quote(current.name),
                u"ALTER TABLE "_s + table(t) + u" ADD COLUMN "_s + quote(current.name) + u' '
                    + columnTypeDeclaration(current.typeName, current.length, false)
                    + u" GENERATED ALWAYS AS ("_s + expression + u") STORED"_s};
    }
    QString dropIndex(const SqlAdmin::ObjectName &t, const QString &index) const override
    {
        return u"DROP INDEX "_s + quote(t.schema) + u'.' + quote(index);
    }
    // No DROP_EXISTING here: the old index goes and the template's comes in one transaction.
    QStringList replaceIndex(const SqlAdmin::ObjectName &t, const QString &index,
                             const QString &statement) const override
    {
        return {dropIndex(t, index), statement};
    }
    QString dropConstraint(const SqlAdmin::ObjectName &t, const QString &name) const override
    {
        return u"ALTER TABLE "_s + table(t) + u" DROP CONSTRAINT "_s + quote(name);
    }
    QString dropRoutine(QChar kind, const SqlAdmin::ObjectName &object) const override
    {
        return (kind == u'V' ? u"DROP VIEW "_s : u"DROP FUNCTION "_s) + quote(object.schema) + u'.'
               + quote(object.name);
    }
    // Advisory locks belong to the database they are taken in, so one key serves every database.
    QString lockQuery() const override { return u"SELECT pg_try_advisory_lock(4803577281)"_s; }
    QString unlockQuery() const override { return u"SELECT pg_advisory_unlock(4803577281)"_s; }
    QString keyValuesQuery(const SqlAdmin::ObjectName &t, const QString &column) const override
    {
        return u"SELECT "_s + quote(column) + u"::text FROM "_s + table(t);
    }
    int maxParameters() const override { return 65535; }
    QString savepoint() const override { return u"SAVEPOINT mgimport8_seed_row"_s; }
    QString rollbackToSavepoint() const override
    {
        return u"ROLLBACK TO SAVEPOINT mgimport8_seed_row"_s;
    }
    QString releaseSavepoint() const override { return u"RELEASE SAVEPOINT mgimport8_seed_row"_s; }
};

class SqlServerStatements : public StructureStatements
{
public:
    QString quote(const QString &name) const override
    {
        return SqlAdmin::bracketedIdentifier(name);
    }
    QStringList addColumn(const SqlAdmin::ObjectName &t, const ColumnTemplate &c) const override
    {
        QString text = u"ALTER TABLE "_s + table(t) + u" ADD "_s + quote(c.name);
        if (c.isComputed)
            return {text + u" AS "_s + c.computedText};
        text += u' ' + columnTypeDeclaration(c.dataType, c.length, true) + nullRule(c.allowNulls);
        if (!c.defaultText.isEmpty())
            text += u" CONSTRAINT "_s + quote(defaultName(t, c.name)) + u" DEFAULT "_s
                    + c.defaultText;
        return {text};
    }
    QStringList alterColumnType(const SqlAdmin::ObjectName &t, const SqlAdmin::ColumnInfo &current,
                                const QString &dataType, int length) const override
    {
        return {u"ALTER TABLE "_s + table(t) + u" ALTER COLUMN "_s + quote(current.name) + u' '
                + columnTypeDeclaration(dataType, length, true) + nullRule(current.nullable)};
    }
    // Defaults are constraints with names of their own: the present one is found by its column.
    QStringList setDefault(const SqlAdmin::ObjectName &t, const QString &column,
                           const QString &expression) const override
    {
        QStringList statements{dropDefaultBatch(t, column)};
        if (!expression.isEmpty())
            statements.append(u"ALTER TABLE "_s + table(t) + u" ADD CONSTRAINT "_s
                              + quote(defaultName(t, column)) + u" DEFAULT "_s + expression
                              + u" FOR "_s + quote(column));
        return statements;
    }
    QStringList setComputed(const SqlAdmin::ObjectName &t, const SqlAdmin::ColumnInfo &current,
                            const QString &expression) const override
    {
        return {u"ALTER TABLE "_s + table(t) + u" DROP COLUMN "_s + quote(current.name),
                u"ALTER TABLE "_s + table(t) + u" ADD "_s + quote(current.name) + u" AS "_s
                    + expression};
    }
    QString dropIndex(const SqlAdmin::ObjectName &t, const QString &index) const override
    {
        return u"DROP INDEX "_s + quote(index) + u" ON "_s + table(t);
    }
    QStringList replaceIndex(const SqlAdmin::ObjectName &, const QString &,
                             const QString &statement) const override
    {
        QString rewritten = statement;
        if (!rewritten.contains(u" WITH "_s, Qt::CaseInsensitive))
            rewritten.replace(u"ON [PRIMARY]"_s, u"WITH DROP_EXISTING ON [PRIMARY]"_s);
        else
            rewritten.replace(u" WITH "_s, u" WITH DROP_EXISTING, "_s, Qt::CaseInsensitive);
        return {rewritten};
    }
    QString dropConstraint(const SqlAdmin::ObjectName &t, const QString &name) const override
    {
        return u"ALTER TABLE "_s + table(t) + u" DROP CONSTRAINT "_s + quote(name);
    }
    QString dropRoutine(QChar kind, const SqlAdmin::ObjectName &object) const override
    {
        return (kind == u'V' ? u"DROP VIEW "_s : u"DROP FUNCTION "_s) + table(object);
    }
    QString lockQuery() const override
    {
        return u"DECLARE @result int; EXEC @result = sp_getapplock @Resource = "
               u"'MGImport8.structure', @LockMode = 'Exclusive', @LockOwner = 'Session', "
               u"@LockTimeout = 0; SELECT CASE WHEN @result >= 0 THEN 1 ELSE 0 END"_s;
    }
    QString unlockQuery() const override
    {
        return u"EXEC sp_releaseapplock @Resource = 'MGImport8.structure', @LockOwner = "
               u"'Session'; SELECT 1"_s;
    }
    QString keyValuesQuery(const SqlAdmin::ObjectName &t, const QString &column) const override
    {
        return u"SELECT CONVERT(nvarchar(4000), "_s + quote(column) + u") FROM "_s + table(t);
    }
    // The server takes 2,100 parameters a request; the driver keeps a few for itself.
    int maxParameters() const override { return 2000; }
    QString savepoint() const override { return u"SAVE TRANSACTION mgimport8_seed_row"_s; }
    QString rollbackToSavepoint() const override
    {
        return u"ROLLBACK TRANSACTION mgimport8_seed_row"_s;
    }
    // A SQL Server savepoint needs no release.
    QString releaseSavepoint() const override { return {}; }

private:
    static QString defaultName(const SqlAdmin::ObjectName &t, const QString &column)
    {
        return u"DF_"_s + t.name + u'_' + column;
    }
    QString dropDefaultBatch(const SqlAdmin::ObjectName &t, const QString &column) const
    {
        QString literalTable = table(t);
        literalTable.replace(u"'"_s, u"''"_s);
        QString literalColumn = column;
        literalColumn.replace(u"'"_s, u"''"_s);
        return u"DECLARE @name sysname = (SELECT dc.name FROM sys.default_constraints dc JOIN "
               u"sys.columns c ON c.object_id = dc.parent_object_id AND c.column_id = "
               u"dc.parent_column_id WHERE dc.parent_object_id = OBJECT_ID(N'"_s
               + literalTable + u"') AND c.name = N'"_s + literalColumn
               + u"'); IF @name IS NOT NULL EXEC (N'ALTER TABLE "_s + literalTable
               + u" DROP CONSTRAINT [' + REPLACE(@name, N']', N']]') + N']')"_s;
    }
};

} // namespace

std::unique_ptr<StructureStatements> StructureStatements::create(SqlAdmin::ServerKind kind)
{
    if (kind == SqlAdmin::ServerKind::PostgreSql)
        return std::make_unique<PostgresStatements>();
    return std::make_unique<SqlServerStatements>();
}

QString StructureStatements::insertRows(const SqlAdmin::ObjectName &t, const QStringList &columns,
                                        qsizetype rows) const
{
    QStringList quoted;
    QStringList marks;
    for (const QString &column : columns) {
        quoted.append(quote(column));
        marks.append(u"?"_s);
    }
    const QString row = u'(' + marks.join(u", "_s) + u')';
    QStringList values;
    for (qsizetype at = 0; at < rows; ++at)
        values.append(row);
    return u"INSERT INTO "_s + table(t) + u" ("_s + quoted.join(u", "_s) + u") VALUES "_s
           + values.join(u", "_s);
}

} // namespace MGImport8::DbStructure

// mgimport8-screenshots FOLDER: walks the wizard through a text import of the bundled sample as a
// user would, clicking by object names, and writes one PNG per panel into FOLDER. It exits with 1
// when a panel renders blank, a control is missing or the walk does not reach its end, so a broken
// window never silently replaces the pictures in the README.
#include <MGImport8/engine.h>
#include <MGImport8/importcolumn.h>
#include <MGImport8/importoptions.h>
#include <MGImport8/importrow.h>

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QFileDialog>
#include <QImage>
#include <QListWidget>
#include <QMessageBox>
#include <QSet>
#include <QStackedWidget>
#include <QTableView>
#include <QTableWidget>
#include <QTest>
#include <QTimer>

#include <cstdio>
#include <deque>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

/// How often the script looks at the screen for the next step.
constexpr int LookIntervalMs = 10;
/// Looks at an idle window with steps left before the walk is given up.
constexpr int PatienceLooks = 1000;
/// A picture with fewer colours than this in its sample grid was not drawn.
constexpr int MinimumColours = 8;
/// The window size the README pictures are laid out for.
constexpr QSize PictureSize(780, 580);
/// The height of the picture of the scrolled mapping panel.
constexpr int ScrolledPictureHeight = 420;

QStringList failures;

void fail(const QString &why)
{
    failures.append(why);
}

template<typename T>
T *control(QWidget &form, const QString &name)
{
    T *found = form.findChild<T *>(name);
    if (!found)
        fail(u"no control "_s + name);
    return found;
}

void click(QWidget &form, const QString &name)
{
    if (auto *button = control<QAbstractButton>(form, name))
        QTest::mouseClick(button, Qt::LeftButton);
}

void clickItem(QAbstractItemView *view, const QModelIndex &index,
               Qt::KeyboardModifiers modifiers = {})
{
    view->scrollTo(index);
    QTest::mouseClick(view->viewport(), Qt::LeftButton, modifiers, view->visualRect(index).center());
}

void clickCell(QWidget &form, int row, int column, Qt::KeyboardModifiers modifiers = {})
{
    if (auto *table = control<QTableView>(form, u"ImportTable"_s))
        clickItem(table, table->model()->index(row, column), modifiers);
}

/// Picks `choice` in a mapping cell's drop-down, one arrow key per reopening of the editor (each
/// move is a pick that closes it).
void pickMapping(QWidget &form, int column, const QString &choice)
{
    auto *table = control<QTableView>(form, u"ImportTable"_s);
    if (!table)
        return;
    const QPoint at = table->visualRect(table->model()->index(0, column)).center();
    QTest::mouseClick(table->viewport(), Qt::LeftButton, {}, at);
    for (;;) {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QTest::mouseDClick(table->viewport(), Qt::LeftButton, {}, at);
        auto *choices = table->findChild<QComboBox *>(u"MappingChoice"_s);
        const int wanted = choices ? choices->findText(choice) : -1;
        if (wanted < 0) {
            fail(u"no mapping choice "_s + choice);
            return;
        }
        if (wanted == choices->currentIndex()) {
            QTest::keyClick(choices, Qt::Key_Escape);
            break;
        }
        QTest::keyClick(choices, wanted > choices->currentIndex() ? Qt::Key_Down : Qt::Key_Up);
    }
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

/// Plays the user: answers the file dialog with the sample, closes message boxes, and runs the
/// next step whenever the wizard window waits for input.
class Walk : public QObject
{
public:
    using Step = std::function<void(QWidget &)>;

    Walk(QString folder, QString sample)
        : m_folder(std::move(folder))
        , m_sample(std::move(sample))
    {
        // Qt never fires a timer again while its own slot runs, and a step that opens a dialog
        // runs a nested event loop inside that slot: dialogs get a timer of their own.
        connect(&m_dialogTimer, &QTimer::timeout, this, &Walk::answerDialogs);
        m_dialogTimer.start(LookIntervalMs);
        connect(&m_stepTimer, &QTimer::timeout, this, &Walk::look);
        m_stepTimer.start(LookIntervalMs);
    }

    void then(Step step) { m_steps.push_back(std::move(step)); }
    int saved() const { return m_saved; }
    bool finished() const { return m_steps.empty(); }

    /// Writes the window as `name`.png; a picture of one colour means nothing was drawn.
    void grab(QWidget &form, const QString &name)
    {
        QCoreApplication::processEvents();
        const QImage picture = form.grab().toImage();
        QSet<QRgb> colours;
        for (int y = 0; y < picture.height(); y += 7)
            for (int x = 0; x < picture.width(); x += 7)
                colours.insert(picture.pixel(x, y));
        if (colours.size() <= MinimumColours)
            fail(name + u" looks blank"_s);
        const QString path = m_folder + u'/' + name + u".png"_s;
        if (picture.save(path))
            ++m_saved;
        else
            fail(u"cannot write "_s + path);
    }

private:
    /// Closes the box or dialog that is up; true when there was one.
    bool answerDialogs()
    {
        QWidget *modal = QApplication::activeModalWidget();
        if (auto *box = qobject_cast<QMessageBox *>(modal)) {
            fail(u"unexpected message: "_s + box->text());
            box->reject();
            return true;
        }
        if (auto *dialog = qobject_cast<QFileDialog *>(modal)) {
            dialog->selectFile(m_sample);
            static_cast<QDialog *>(dialog)->accept();
            return true;
        }
        return false;
    }

    void look()
    {
        if (m_inStep || answerDialogs())
            return;
        QWidget *modal = QApplication::activeModalWidget();
        QWidget *form = nullptr;
        for (QWidget *window : QApplication::topLevelWidgets()) {
            if (window->objectName() == u"WizardForm"_s && window->isVisible())
                form = window;
        }
        if (!form || (modal && modal != form))
            return;
        if (m_steps.empty() || ++m_idleLooks > PatienceLooks) {
            if (!m_steps.empty())
                fail(u"the walk stalled"_s);
            m_steps.clear();
            return;
        }
        m_idleLooks = 0;
        const Step step = std::move(m_steps.front());
        m_steps.pop_front();
        m_inStep = true;
        step(*form);
        m_inStep = false;
    }

    QString m_folder;
    QString m_sample;
    QTimer m_dialogTimer;
    QTimer m_stepTimer;
    std::deque<Step> m_steps;
    int m_saved = 0;
    int m_idleLooks = 0;
    bool m_inStep = false;
};

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setApplicationDisplayName(u"Node Inventory"_s);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() != 2) {
        std::fputs("usage: mgimport8-screenshots FOLDER\n", stderr);
        return 2;
    }
    const QString folder = arguments.at(1);
    if (!QDir().mkpath(folder)) {
        std::fprintf(stderr, "cannot create %s\n", qPrintable(folder));
        return 1;
    }

    // The engine as the demo host configures it.
    QWidget host;
    host.resize(400, 300);
    host.show();
    MGImport8::Engine engine;
    engine.setColumns(u"Name,IP,Description,Location,Contact"_s);
    engine.setRequiredColumns(u"IP"_s);
    engine.setIPColumn(u"IP"_s);
    engine.ImportOptions()->Add(u"Overwrite"_s, u"Overwrite existing nodes"_s, false);
    QObject::connect(&engine, &MGImport8::Engine::NewRow,
                     [](MGImport8::ImportRow *row, QString &status, bool &skip) {
                         skip = row->Item(u"Name"_s)->Data().toString().startsWith(u"sw-lab"_s);
                         status = skip ? u"Skipped a lab switch"_s
                                       : u"Added "_s + row->Item(u"IP"_s)->Data().toString();
                     });

    Walk walk(folder, QStringLiteral(MGIMPORT8_EXAMPLES_DIR "/nodes.csv"));
    walk.then([&](QWidget &form) {
        form.resize(PictureSize);
        if (auto *list = control<QListWidget>(form, u"ImportTypeList"_s)) {
            const QList<QListWidgetItem *> text = list->findItems(u"Text File"_s, Qt::MatchExactly);
            if (text.isEmpty())
                fail(u"no text method"_s);
            else
                clickItem(list, list->indexFromItem(text.constFirst()));
        }
        walk.grab(form, u"1-method"_s);
        click(form, u"cmdNext"_s);
    });
    const auto grabAndGoOn = [&](const QString &name) {
        walk.then([&walk, name](QWidget &form) {
            walk.grab(form, name);
            click(form, u"cmdNext"_s);
        });
    };
    grabAndGoOn(u"2-file"_s);
    grabAndGoOn(u"3-delimiters"_s);
    walk.then([&](QWidget &form) {
        // The sample's first line names the fields: one click binds them, one pick unbinds a
        // column the host has no use for.
        click(form, u"cmdMatchNames"_s);
        pickMapping(form, 4, u"<ignore>"_s);
        clickCell(form, 2, 1);
        walk.grab(form, u"4-mapping"_s);
        // Scrolled down (in a lower window, so that the sample scrolls), the mapping row stays
        // pinned over the rows.
        form.resize(PictureSize.width(), ScrolledPictureHeight);
        if (auto *table = control<QTableView>(form, u"ImportTable"_s)) {
            QCoreApplication::processEvents();
            table->scrollToBottom();
            if (!table->findChild<QTableView *>(u"PinnedMappingRow"_s)->isVisible())
                fail(u"the mapping row is not pinned when scrolled"_s);
        }
        walk.grab(form, u"4b-mapping-scrolled"_s);
        form.resize(PictureSize);
        if (auto *table = control<QTableView>(form, u"ImportTable"_s))
            table->scrollToTop();
        click(form, u"cmdNext"_s);
    });
    walk.then([&](QWidget &form) {
        clickCell(form, 4, 1);
        clickCell(form, 6, 1, Qt::ShiftModifier);
        walk.grab(form, u"5-rows"_s);
        click(form, u"cmdNext"_s);
    });
    walk.then([&](QWidget &form) {
        if (auto *options = control<QTableWidget>(form, u"OptionsList"_s))
            clickItem(options, options->model()->index(0, 0));
        walk.grab(form, u"6-options"_s);
        click(form, u"cmdNext"_s);
    });
    walk.then([&](QWidget &form) {
        walk.grab(form, u"7-import-done"_s);
        click(form, u"cmdCancel"_s);
    });

    engine.StartWizard(&host);
    if (!walk.finished())
        fail(u"the wizard closed before the walk ended"_s);
    for (const QString &failure : std::as_const(failures))
        std::fprintf(stderr, "%s\n", qPrintable(failure));
    std::printf("%d pictures in %s\n", walk.saved(), qPrintable(folder));
    return failures.isEmpty() ? 0 : 1;
}

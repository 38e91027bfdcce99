#include "thermo/window/database_window.h"

#include <gtest/gtest.h>

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QTabWidget>
#include <QTableView>
#include <QTableWidget>

#include <csignal>
#include <cstring>
#include <fstream>
#include <sstream>
#include <sys/resource.h>

#include "platform/window/qt_app.h"
#include "platform/window/qt_messages.h"
#include "platform/window/xy_plot.h"
#include "thermo/window/fit_plot.h"
#include "thermo/db_tools.h"
#include "thermo/lookup.h"
#include "thermo/thermo_test_db.h"

namespace zyl::thermo::window {
namespace {

using zyl::testing::Range;
using zyl::testing::WriteBytes;

std::string Bytes(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

class DatabaseWindow : public ::testing::Test {
 protected:
  void SetUp() override {
    zyl::testing::App();
    own_path_ = dir_ / "OwnDB6.ZYL";
    main_path_ = dir_ / "MainDB6.ZYL";
    std::vector<SpeciesRecord> main = {
        Range("Cu", 298.15f, 1358, "s", 0, 7.923f, 6.97858f, -1.95905f, -0.665767f, 1.91918f),
        Range("Cu", 1358, 6000, "l", 3.13858f, 2.30957f, 7.83939f),
        Range("NaCl", 298.15f, 1074, "s", -98.2935f, 17.2443f, 11.3f, 1.5f),
        Range("NaCl", 1074, 6000, "l", 6.74f, 6.2756f, 16.2285f),
        Range("CuO", 298.15f, 1500, "s", -37.6f, 10.2f, 11.5f, 3.8f)};
    main[0].references = "JANAF98";
    main[0].reliability_class = 1;
    main[2].chemical_name = "Sodium chloride";
    main[4].reliability_class = 3;
    ASSERT_TRUE(WriteSpeciesDatabase(main_path_, main));
    ASSERT_TRUE(WriteSpeciesDatabase(own_path_, {Range("Fe2O3", 298.15f, 950, "s", -197, 20.9f, 23.5f, 18.6f, -3.55f),
                                                 Range("Fe2O3", 950, 1800, "s", 0, 0, 31.7f, 1.76f)}));
    ASSERT_TRUE(OpenSharedSpeciesDatabases(own_path_, main_path_, messages_));
    platform::window::SetAppMessages(&messages_);
    w_ = std::make_unique<DataBase>();
  }
  void TearDown() override {
    w_.reset();
    platform::window::SetAppMessages(nullptr);
    SharedSpeciesDatabases().own.reset();
    SharedSpeciesDatabases().main.reset();
  }
  QString Cell(int row, int col) const { return w_->RangesGrid()->item(row, col)->text(); }
  void SetCell(int row, int col, const QString& text) { w_->RangesGrid()->item(row, col)->setText(text); }
  std::vector<SpeciesRecord> OwnRanges(const std::string& f) {
    auto& own = *SharedSpeciesDatabases().own;
    auto span = FindSpeciesSpan(own, f);
    return ReadSpeciesRanges(own, span.first, span.last);
  }

  zyl::testing::TempDir tmp_;
  std::filesystem::path dir_ = tmp_.Path();
  std::filesystem::path own_path_, main_path_;
  platform::HeadlessMessages messages_{false};
  std::unique_ptr<DataBase> w_;
};

TEST_F(DatabaseWindow, SearchesAndSortsTheSpeciesList) {
  w_->ShowDatabase(DataBase::Which::Main);
  auto* model = w_->ListModel();
  EXPECT_EQ(model->rowCount(), 3);
  w_->Search()->setText("cu");
  EXPECT_EQ(model->rowCount(), 2);
  w_->Search()->setText("sodium");
  ASSERT_EQ(model->rowCount(), 1);
  EXPECT_EQ(model->At(0)->formula, "NaCl");
  w_->Search()->clear();
  w_->SpeciesList()->sortByColumn(SpeciesListModel::kReliability, Qt::DescendingOrder);
  EXPECT_EQ(model->At(0)->formula, "CuO");
  EXPECT_EQ(model->data(model->index(0, SpeciesListModel::kReliability), Qt::DisplayRole).toInt(), 3);
  EXPECT_EQ(model->data(model->index(model->RowOf("Cu"), SpeciesListModel::kPhases), Qt::DisplayRole).toString(), "s,l");
  // Selecting a species fills its ranges and plots them with the join marked.
  ASSERT_TRUE(w_->SelectSpecies("Cu"));
  EXPECT_EQ(w_->RangesGrid()->rowCount(), 2);
  EXPECT_EQ(Cell(1, 2), "l");
  EXPECT_FALSE(w_->SpeciesPlot()->Data().isEmpty());
}

TEST_F(DatabaseWindow, MainDatabaseIsNeverWritten) {
  const std::string before = Bytes(main_path_);
  w_->ShowDatabase(DataBase::Which::Main);
  ASSERT_TRUE(w_->SelectSpecies("NaCl"));
  EXPECT_EQ(w_->RangesGrid()->editTriggers(), QAbstractItemView::NoEditTriggers);
  EXPECT_FALSE(w_->SaveSpeciesToOwn());
  EXPECT_EQ(messages_.Last(), "Can not save to MainDB !\nChange MainDB file to OwnDB if you want to edit it.");
  // Copying makes an editable own copy, which the lookup then prefers.
  ASSERT_TRUE(w_->CopyToOwn());
  EXPECT_EQ(w_->Shown(), DataBase::Which::Own);
  EXPECT_EQ(w_->SelectedFormula(), "NaCl");
  EXPECT_EQ(OwnRanges("NaCl").size(), 2u);
  EXPECT_EQ(FindSpecies("NaCl").kind, DbKind::Own);
  EXPECT_EQ(Bytes(main_path_), before);
}

TEST_F(DatabaseWindow, EditsAreValidatedAndSavedInTheChosenUnit) {
  ASSERT_TRUE(w_->SelectSpecies("Fe2O3"));
  const std::string before = Bytes(own_path_);
  // Ranges that do not join are refused and the file stays as it was.
  SetCell(1, 0, "960");
  EXPECT_FALSE(w_->SaveSpeciesToOwn());
  EXPECT_EQ(messages_.Last(), "T2 at Range: 1 (950 K) <> T1 at Range: 2 (960 K)");
  EXPECT_EQ(Bytes(own_path_), before);
  SetCell(1, 0, "950");
  SetCell(0, 1, "x");
  EXPECT_FALSE(w_->SaveSpeciesToOwn());
  EXPECT_EQ(messages_.Last(), "Range 1, T2 K: \"x\" is not a number");
  SetCell(0, 1, "950");

  // In joules: H typed in kJ/mol is stored in kcal/mol; untouched cells keep their exact values.
  w_->SetJoules(true);
  EXPECT_EQ(w_->RangesGrid()->horizontalHeaderItem(3)->text(), "H kJ/mol");
  EXPECT_EQ(Cell(0, 3).toDouble(), -824.248);  // -197 kcal/mol * 4.184
  SetCell(0, 3, "-825.5");
  ASSERT_TRUE(w_->SaveSpeciesToOwn()) << messages_.Last();
  auto saved = OwnRanges("Fe2O3");
  ASSERT_EQ(saved.size(), 2u);
  EXPECT_FLOAT_EQ(saved[0].h, static_cast<float>(-825.5 / 4.184));
  EXPECT_EQ(saved[0].c, -3.55f);
  EXPECT_EQ(saved[0].s, 20.9f);

  // A jump without a change of phase is asked about; No keeps the file.
  const std::string before_jump = Bytes(own_path_);
  w_->SetJoules(false);
  SetCell(1, 3, "0.16");
  messages_.Script({platform::Answer::No});
  EXPECT_FALSE(w_->SaveSpeciesToOwn());
  EXPECT_NE(messages_.Last().find("but the phase stays \"s\""), std::string::npos);
  EXPECT_EQ(Bytes(own_path_), before_jump);
  messages_.Script({platform::Answer::Yes});
  EXPECT_TRUE(w_->SaveSpeciesToOwn());
  EXPECT_FLOAT_EQ(OwnRanges("Fe2O3")[1].h, 0.16f);

  // Ranges can be added and removed before saving.
  w_->AddRange();
  ASSERT_EQ(w_->RangesGrid()->rowCount(), 3);
  EXPECT_EQ(Cell(2, 0), "1800");
  SetCell(2, 2, "l");
  SetCell(2, 3, "24");
  messages_.Script({platform::Answer::Yes});  // the jump at 950 K is still asked about
  EXPECT_TRUE(w_->SaveSpeciesToOwn()) << messages_.Last();
  EXPECT_EQ(OwnRanges("Fe2O3").size(), 3u);
}

// A save that can not be written (here: a file-size limit below the new file's size) reports the
// failure and leaves the old database and its catalogue as they were.
TEST_F(DatabaseWindow, FailedSaveKeepsTheOldFile) {
  ASSERT_TRUE(w_->SelectSpecies("Fe2O3"));
  const std::string before = Bytes(own_path_);
  SetCell(0, 5, "24");
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit old{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
  rlimit low = old;
  low.rlim_cur = 100;  // bytes: smaller than one record
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &low), 0);
  const bool saved = w_->SaveSpeciesToOwn();
  setrlimit(RLIMIT_FSIZE, &old);
  EXPECT_FALSE(saved);
  EXPECT_NE(messages_.Last().find("Can not save"), std::string::npos) << messages_.Last();
  EXPECT_EQ(Bytes(own_path_), before);
  EXPECT_EQ(OwnRanges("Fe2O3")[0].a, 23.5f);
}

TEST_F(DatabaseWindow, FitsATableAndStoresItAsANewSpecies) {
  // Cp = 10 + 4e-3 T cal/(mol K) written in J/(mol K): the fit gives back A = 10, B = 4.
  QString table = "T,Cp\n";
  for (int t = 300; t <= 1200; t += 100) table += QString("%1,%2\n").arg(t).arg((10 + 4e-3 * t) * 4.184, 0, 'g', 10);
  w_->FitTable()->setPlainText(table);
  w_->FitBreaks()->setText("abc");
  EXPECT_FALSE(w_->RunFit());
  EXPECT_EQ(messages_.Last(), "Breaks: \"abc\" is not a temperature");
  w_->FitBreaks()->clear();
  ASSERT_TRUE(w_->RunFit()) << messages_.Last();
  ASSERT_EQ(w_->LastFit().ranges.size(), 1u);
  EXPECT_NEAR(w_->LastFit().ranges[0].a, 10, 1e-3);
  EXPECT_NEAR(w_->LastFit().ranges[0].b, 4, 1e-3);
  EXPECT_EQ(w_->FitResiduals()->rowCount(), 10);
  EXPECT_EQ(w_->FitResiduals()->horizontalHeaderItem(4)->text(), "dCp %");
  EXPECT_TRUE(w_->FitSummary()->text().contains("Worst Cp deviation"));
  // The curve is drawn against the given points, in the table's unit (J/(mol K)).
  ASSERT_EQ(w_->FitCurvePlot()->Points().size(), 10);
  EXPECT_NEAR(w_->FitCurvePlot()->Points()[0].y(), (10 + 4e-3 * 300) * 4.184, 1e-6);
  EXPECT_EQ(w_->FitCurvePlot()->PieceCount(), 1);
  EXPECT_EQ(w_->FitResidualPlot()->Points().size(), 10);

  EXPECT_FALSE(w_->StoreFit());  // no formula yet
  w_->FitName()->setText("CaTiO3");
  ASSERT_TRUE(w_->StoreFit()) << messages_.Last();
  EXPECT_EQ(w_->SelectedFormula(), "CaTiO3");
  auto recs = OwnRanges("CaTiO3");
  ASSERT_EQ(recs.size(), 1u);
  EXPECT_NEAR(recs[0].mw, 135.94, 0.01);  // Ca 40.078 + Ti 47.867 + 3 O 15.999
  // A second store asks before replacing.
  messages_.Script({platform::Answer::No});
  EXPECT_FALSE(w_->StoreFit());
}

TEST_F(DatabaseWindow, MergeCheckExportAndImport) {
  // Merge a file holding a clash (Fe2O3) and a new species (KCl); No keeps the own data.
  const auto other = dir_ / "Other.ZYL";
  ASSERT_TRUE(WriteSpeciesDatabase(other, {Range("Fe2O3", 298.15f, 2000, "s", -190, 21, 30),
                                           Range("KCl", 298.15f, 1044, "s", -104.4f, 19.7f, 9.9f)}));
  messages_.Script({platform::Answer::No});
  ASSERT_TRUE(w_->MergeFile(QString::fromStdString(other.string())));
  EXPECT_EQ(OwnRanges("Fe2O3").size(), 2u);
  EXPECT_EQ(OwnRanges("KCl").size(), 1u);
  EXPECT_EQ(messages_.Last(), "Merged into " + own_path_.string() + ": 1 species added, 0 replaced, 1 kept.");
  messages_.Script({platform::Answer::Yes});
  ASSERT_TRUE(w_->MergeFile(QString::fromStdString(other.string())));
  EXPECT_EQ(OwnRanges("Fe2O3").size(), 1u);
  // The old 110-byte format is refused with its message.
  const auto old = dir_ / "OLD.ZYL";
  WriteBytes(old, std::string(220, '\x01'));
  EXPECT_FALSE(w_->MergeFile(QString::fromStdString(old.string())));
  EXPECT_EQ(messages_.Last(), old.string() + "\nOld ZYL 2.0 File Format !");

  // The converter reads it only when it holds old records; it never writes over an open database.
  EXPECT_FALSE(w_->ConvertOldFile(QString::fromStdString(old.string()), QString::fromStdString((dir_ / "new.ZYL").string())));
  EXPECT_EQ(messages_.Last(), old.string() + "\nRecord 1: its text fields hold control characters; this is not a ZYL 2.0 file");
  std::string rec = "KCl" + std::string(21, ' ') + "s ";
  for (float v : {298.15f, 1044.0f, -104.4f, 19.7f, 9.9f}) {
    char b[4];
    std::memcpy(b, &v, 4);  // little-endian host
    rec.append(b, 4);
  }
  rec.resize(110, ' ');
  WriteBytes(old, rec + std::string(110, ' '));
  EXPECT_FALSE(w_->ConvertOldFile(QString::fromStdString(old.string()), QString::fromStdString(own_path_.string())));
  ASSERT_TRUE(w_->ConvertOldFile(QString::fromStdString(old.string()), QString::fromStdString((dir_ / "new.ZYL").string())))
      << messages_.Last();
  auto conv = OpenSpeciesDb(dir_ / "new.ZYL");
  ASSERT_TRUE(conv);
  ASSERT_EQ(conv->RecordCount(), 1);
  EXPECT_FLOAT_EQ(ReadSpeciesRecord(*conv, 1)->h, -104.4f);

  // Export as CSV, change the file, import it back.
  const auto csv = dir_ / "own.csv";
  ASSERT_TRUE(w_->ExportTo(QString::fromStdString(csv.string())));
  auto recs = ParseSpeciesCsv(Bytes(csv));
  ASSERT_TRUE(recs);
  EXPECT_EQ(recs->size(), 2u);
  for (auto& r : *recs) r.formula += "x";
  ASSERT_TRUE(WriteSpeciesDatabase(dir_ / "tmp.ZYL", *recs));
  WriteBytes(csv, FormatSpeciesCsv(*recs));
  ASSERT_TRUE(w_->ImportFrom(QString::fromStdString(csv.string())));
  EXPECT_EQ(w_->ListModel()->TotalCount(), 4);

  // The check lists a gap between ranges; clicking the finding selects the species.
  auto own = *ReadAllSpeciesRecords(*SharedSpeciesDatabases().own);
  own.push_back(Range("ZnO", 298.15f, 1000, "s", -83, 10.4f, 11.7f));
  own.push_back(Range("ZnO", 1100, 2000, "s", 0, 0, 12));
  ASSERT_TRUE(ImportSpecies(*SharedSpeciesDatabases().own, DbRole::Own, own, true, messages_).ok);
  w_->ShowDatabase(DataBase::Which::Own);
  EXPECT_EQ(w_->RunCheck(), 1);
  QListWidgetItem* item = w_->Findings()->item(0);
  EXPECT_TRUE(item->text().startsWith("ZnO"));
  emit w_->Findings()->itemActivated(item);
  EXPECT_EQ(w_->Tabs()->currentIndex(), 0);
  EXPECT_EQ(w_->SelectedFormula(), "ZnO");
}

TEST_F(DatabaseWindow, NewSpeciesAndReferenceEdits) {
  EXPECT_FALSE(w_->NewSpecies("Fe2O3"));
  EXPECT_EQ(messages_.Last(), "Species already in the database: Fe2O3");
  ASSERT_TRUE(w_->NewSpecies("ZnS"));
  EXPECT_EQ(w_->RangesGrid()->rowCount(), 1);
  SetCell(0, 3, "-49.2");
  SetCell(0, 4, "13.8");
  SetCell(0, 5, "12.2");
  ASSERT_TRUE(w_->SaveSpeciesToOwn()) << messages_.Last();
  auto zns = OwnRanges("ZnS");
  ASSERT_EQ(zns.size(), 1u);
  EXPECT_FLOAT_EQ(zns[0].h, -49.2f);
  EXPECT_NEAR(zns[0].mw, 97.44, 0.01);  // IUPAC 2021 abridged: Zn 65.38 + S 32.06
  EXPECT_EQ(w_->SelectedFormula(), "ZnS");

  // References: edited for every range of the species; the main database's are read-only.
  w_->FillReferences();
  auto* refs = w_->ReferencesGrid();
  int row = -1;
  for (int r = 0; r < refs->rowCount(); ++r)
    if (refs->item(r, 0)->text() == "Fe2O3") row = r;
  ASSERT_GE(row, 0);
  refs->item(row, 1)->setText("Robie 1995");
  refs->item(row, 3)->setText("x");
  EXPECT_EQ(w_->SaveReferences(), 0);
  EXPECT_EQ(messages_.Last(), "Fe2O3: the reliability class must be a whole number");
  refs->item(row, 3)->setText("2");
  EXPECT_EQ(w_->SaveReferences(), 1);
  for (const auto& r : OwnRanges("Fe2O3")) {
    EXPECT_EQ(r.references, "Robie 1995");
    EXPECT_EQ(r.reliability_class, 2);
  }
  w_->ShowDatabase(DataBase::Which::Main);
  w_->FillReferences();
  EXPECT_FALSE(refs->item(0, 1)->flags() & Qt::ItemIsEditable);
}

TEST_F(DatabaseWindow, UnsavedEditsAreNotDroppedSilently) {
  ASSERT_TRUE(w_->NewSpecies("ZnS"));
  SetCell(0, 5, "12.2");
  // A search that hides the species keeps it in the grid.
  w_->Search()->setText("Fe2");
  EXPECT_EQ(w_->SelectedFormula(), "ZnS");
  EXPECT_EQ(Cell(0, 5), "12.2");
  // Choosing another species asks; No keeps the edits.
  messages_.Script({platform::Answer::No});
  w_->SpeciesList()->selectRow(0);
  EXPECT_EQ(messages_.Last(), "ZnS: the changes are not saved. Discard them?");
  EXPECT_EQ(w_->SelectedFormula(), "ZnS");
  EXPECT_TRUE(w_->HasUnsavedEdits());
  QCoreApplication::processEvents();
  EXPECT_FALSE(w_->SpeciesList()->currentIndex().isValid());
  messages_.Script({platform::Answer::Yes});
  w_->SpeciesList()->selectRow(0);
  EXPECT_EQ(w_->SelectedFormula(), "Fe2O3");
  EXPECT_FALSE(w_->HasUnsavedEdits());
  EXPECT_TRUE(OwnRanges("ZnS").empty());
}

TEST_F(DatabaseWindow, ElementTableShowsWeightsAndNames) {
  auto* t = w_->ElementsGrid();
  ASSERT_EQ(t->rowCount(), 102);
  EXPECT_EQ(t->item(25, 1)->text(), "Fe");
  EXPECT_EQ(t->item(25, 2)->text(), "Iron");
  EXPECT_NEAR(t->item(25, 3)->text().toDouble(), 55.845, 1e-3);  // IUPAC 2021: 55.845(2)
}

}  // namespace
}  // namespace zyl::thermo::window

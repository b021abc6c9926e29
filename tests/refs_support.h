// The small repertory of the run's tests (logrun_support.h) grown for the
// reference texts, notes, links and concept links:
//
//   1.0 Mind  1.1 fear  1.2 night  1.3 dark, of
//             2.0 anxiety  2.1 night  2.2 3 - 5 h
//   5.0 Head  5.1 pain  5.2 pressing (as from - a weight)
//   6.0 Generalities  6.1 weakness  6.2 \xe9blouissement
//   7.0 Deep  7.1 a2  7.2 a3 ... 7.10 a11 (levels 1 to 11)
//
// and a concept partner in "cpt": 1.0 Sensations  1.1 Burning
// 1.2 Night (French: Sensations, Br\xfblure, Nuit), with an empty concept
// table "cpt\extrspt".
#pragma once

#include "logrun_support.h"

#include <string>

class RefsTest : public RepertoryTest {
protected:
  void SetUp() override {
    RepertoryTest::SetUp();
    AddSymptoms();
    BuildPartner();
    OpenTables();
  }

  void AddSymptoms() {
    TblHandle s = TblOpenSymptom("rep\\symptom", 0, 1);
    ASSERT_NE(s, 0);
    SaveRows(
        s, {
               {1, 3, 1, 1, 3, 1, "dark, of", "obscurit\xe9, de l'", 103},
               {2, 0, 1, 0, 2, 1, "anxiety", "anxi\xe9t\xe9", 110},
               {2, 1, 2, 0, 3, 1, "night", "nuit", 111},
               {2, 2, 2, 1, 4, 1, "3 - 5 h", "3 - 5 h", 112},
               {5, 2, 5, 1, 3, 2, "pressing (as from - a weight)", "pressante",
                202},
               {6, 0, 0, 0, 1, 3, "Generalities", "G\xe9n\xe9ralit\xe9s", 300},
               {6, 1, 6, 0, 2, 3, "weakness", "faiblesse", 301},
               {6, 2, 6, 0, 2, 3,
                "\xe9"
                "blouissement",
                "\xe9"
                "blouissement",
                302},
               {7, 0, 0, 0, 1, 4, "Deep", "Profond", 400},
           });
    for (uint16_t k = 1; k <= 10; ++k) {
      std::string t = "a" + std::to_string(k + 1);
      SaveRows(
          s, {{7, k, 7, static_cast<uint16_t>(k - 1),
               static_cast<uint8_t>(k + 1), 4, t.c_str(), t.c_str(), 400 + k}});
    }
    DbCloseFile(s);
  }

  void BuildPartner() {
    std::filesystem::create_directory("cpt");
    TblHandle s = TblCreateSymptom("cpt\\symptom", 1, 1);
    ASSERT_NE(s, 0);
    SaveRows(s, {
                    {1, 0, 0, 0, 1, 1, "Sensations", "Sensations", 500},
                    {1, 1, 1, 0, 2, 1, "Burning", "Br\xfblure", 501},
                    {1, 2, 1, 0, 2, 1, "Night", "Nuit", 502},
                });
    DbCloseFile(s);
    DbCloseFile(TblCreateExSp("cpt\\extrspt", 1, 1));
  }

  void OpenTables() {
    RepertoryTest::OpenTables();
    OpenWordTables();
    partner_ = TblOpenSymptom("cpt\\symptom", 0, 1);
    exsp_ = TblOpenExSp("cpt\\extrspt", 0, 1);
    ASSERT_NE(exsp_, 0);
  }

  // The repertory and its concept links against each other.
  void ExpectAllConsistent() {
    CloseTables();
    std::vector<std::string> faults = Verify();
    VerifyConcepts("rep", "cpt", CollectFault, &faults);
    EXPECT_EQ(Lines(faults), "");
    OpenTables();
  }

  // The context of a run on this repertory.
  OpContext Ctx(FILE *errors, int style = 1) {
    OpContext c = RepertoryTest::Ctx(errors);
    c.referenceStyle = style;
    c.replaceNotes = 0;
    return c;
  }

  // A symptom read by number.
  Symptom Read(uint32_t num, uint16_t sub) {
    Symptom x = MakeSymptom(num, sub, 0, 0, "");
    EXPECT_EQ(TblFindFullSymptom(sym_, &x, 0, kFindEqual), 0);
    TblFreeSymptomRemed(&x);
    return x;
  }
};

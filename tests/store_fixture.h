// A scratch folder as the current folder for each store test; every table
// the test leaves open is closed and the folder removed afterwards.
#pragma once

#include "platform/strutil.h"
#include "store/store.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <unistd.h>

class StoreTest : public ::testing::Test {
protected:
  void SetUp() override {
    char tmpl[] = "/tmp/mantrel-store-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    root_ = tmpl;
    old_ = std::filesystem::current_path();
    std::filesystem::current_path(root_);
    ASSERT_EQ(DbInitialize(50, 90, 4, "A-Mantrel", "", 0), 0);
  }
  void TearDown() override {
    DbTerminate("A-Mantrel");
    std::filesystem::current_path(old_);
    std::filesystem::remove_all(root_);
  }
  // Bytes of a file of the scratch folder.
  std::string Slurp(const std::string &name) const;
  void Spit(const std::string &name, const std::string &bytes) const;
  std::filesystem::path root_, old_;
};

inline std::string StoreTest::Slurp(const std::string &name) const {
  FILE *f = fopen((root_ / name).c_str(), "rb");
  std::string s;
  if (f == nullptr)
    return s;
  char buf[65536];
  size_t n;
  while ((n = fread(buf, 1, sizeof buf, f)) > 0)
    s.append(buf, n);
  fclose(f);
  return s;
}

inline void StoreTest::Spit(const std::string &name,
                            const std::string &bytes) const {
  FILE *f = fopen((root_ / name).c_str(), "wb");
  ASSERT_NE(f, nullptr);
  fwrite(bytes.data(), 1, bytes.size(), f);
  fclose(f);
}

// A symptom record with the given numbers and texts and no remedies.
inline Symptom MakeSymptom(uint32_t num, uint16_t sub, uint32_t pnum,
                           uint16_t psub, const char *text1,
                           int32_t uniqueId = 0) {
  Symptom s;
  memset(&s, 0, sizeof s);
  s.CursorState = 0xff;
  s.Num = num;
  s.Sub = sub;
  s.ParentNum = pnum;
  s.ParentSub = psub;
  s.UniqueId = uniqueId;
  StrCopy(s.Text1, text1);
  return s;
}

// A Symptom record that owns its remedy array: the store grows the array on
// a read, and the record frees it when it goes. Copies get no array.
struct SymRec : Symptom {
  SymRec(const Symptom &o) : Symptom(o) { Remedies = nullptr; }
  SymRec(const SymRec &o) : Symptom(o) { Remedies = nullptr; }
  SymRec &operator=(const Symptom &o) {
    SymptomRemedy *mine = Remedies;
    static_cast<Symptom &>(*this) = o;
    Remedies = mine;
    return *this;
  }
  SymRec &operator=(const SymRec &o) {
    return *this = static_cast<const Symptom &>(o);
  }
  ~SymRec() { TblFreeSymptomRemed(this); }
};

// How to find, peek at, save and shift the records of each of the three
// chained lists, and what ends their entries: one small traits struct per
// record type, so that a walk over a chain is written once for all three
// (the sorted insert of chainlist, the renumbering's carry of numbers).
#pragma once

#include "ops/chainlist.h"
#include "store/store.h"

#include <cstring>

struct ExtractTraits {
  using Rec = Extract;
  using Entry = ExtractEntry;
  static int Find(TblHandle h, Rec *r, int mode) {
    return TblFindFullExtract(h, r, 0, mode, nullptr);
  }
  static int Save(TblHandle h, Rec *r, int mode) {
    return TblSaveExtract(h, r, mode);
  }
  static int Peek(TblHandle h, const Rec *key, Entry *first, Entry *last,
                  int *count) {
    return TblPeekExtract(h, key, first, last, count);
  }
  static int ShiftUp(TblHandle h, const Rec *key, int from, int last) {
    return TblShiftUpExtract(h, key, from, last);
  }
  static void CopyKey(Rec *dst, const Rec &src) {
    dst->RemedyId = src.RemedyId;
  }
  static bool IsEnd(const Entry &e) { return TblIsLastExtractSymptom(&e) == 2; }
  static Entry Terminator() { return ChainExtractTerminator(); }
};

struct ExSpTraits {
  using Rec = ExSp;
  using Entry = ExSpEntry;
  static int Find(TblHandle h, Rec *r, int mode) {
    return TblFindFullExSp(h, r, 0, mode, nullptr);
  }
  static int Save(TblHandle h, Rec *r, int mode) {
    return TblSaveExSp(h, r, mode);
  }
  static int Peek(TblHandle h, const Rec *key, Entry *first, Entry *last,
                  int *count) {
    return TblPeekExSp(h, key, first, last, count);
  }
  static int ShiftUp(TblHandle h, const Rec *key, int from, int last) {
    return TblShiftUpExSp(h, key, from, last);
  }
  static void CopyKey(Rec *dst, const Rec &src) {
    dst->Num = src.Num;
    dst->Sub = src.Sub;
    dst->Direction = src.Direction;
  }
  static bool IsEnd(const Entry &e) { return TblIsLastExSpSymptom(&e) == 2; }
  static Entry Terminator() { return ChainExSpTerminator(); }
};

struct WordTraits {
  using Rec = Word;
  using Entry = WordEntry;
  static int Find(TblHandle h, Rec *r, int mode) {
    return TblFindFullWord(h, r, 0, mode, nullptr);
  }
  static int Save(TblHandle h, Rec *r, int mode) {
    return TblSaveWord(h, r, mode);
  }
  static int Peek(TblHandle h, const Rec *key, Entry *first, Entry *last,
                  int *count) {
    return TblPeekWord(h, key, first, last, count);
  }
  static int ShiftUp(TblHandle h, const Rec *key, int from, int last) {
    return TblShiftUpWord(h, key, from, last);
  }
  static void CopyKey(Rec *dst, const Rec &src) {
    memcpy(dst->Text, src.Text, sizeof dst->Text);
  }
  static bool IsEnd(const Entry &e) { return TblIsLastWordSymptom(&e) == 2; }
  static Entry Terminator() { return ChainWordTerminator(); }
};

// The sorted insert, written once for the three chained lists. A small
// traits struct per record type says how to find, peek, save and compare;
// the walk and the split are the same for all.
#include "ops/chainlist.h"
#include "ops/chaintraits.h"

#include <cstring>

namespace {

template <class E> bool Before(const E &a, const E &b) {
  return a.Num < b.Num || (a.Num == b.Num && a.Sub < b.Sub);
}

template <class T> int Count(const typename T::Rec &rec) {
  int n = 0;
  while (n < kListEntries - 1 && !T::IsEnd(rec.Entries[n]))
    ++n;
  return n;
}

// Finds the record of rec's key at `seq` and makes it the current one.
template <class T> int FindAt(TblHandle h, typename T::Rec *rec, int seq) {
  rec->Seq = static_cast<uint8_t>(seq);
  return T::Find(h, rec, kFindEqual) != 0 || OrvixError != 0;
}

// The first entry of the record not before `entry` among those a scan
// looks at, or -1.
template <class T>
int Scan(const typename T::Rec &rec, const typename T::Entry &entry) {
  for (int i = 0; i < kChainScanMax; ++i) {
    if (T::IsEnd(rec.Entries[i]))
      return -1;
    if (!Before(rec.Entries[i], entry))
      return i;
  }
  return -1;
}

// The Seq of the chain's last record, from `seq` on, by peeking.
template <class T> int LastSeq(TblHandle h, const typename T::Rec &rec) {
  static typename T::Rec key;
  typename T::Entry first, last;
  int n, seq = rec.Seq;
  T::CopyKey(&key, rec);
  for (; seq < 255; ++seq) {
    key.Seq = static_cast<uint8_t>(seq + 1);
    if (T::Peek(h, &key, &first, &last, &n) != 0)
      break;
  }
  return seq;
}

template <class T>
int Insert(TblHandle h, typename T::Rec *rec, const typename T::Entry &entry) {
  using Rec = typename T::Rec;
  using Entry = typename T::Entry;

  // 1-2: the place is the first entry not before the new one. A record
  // that holds none hands over to the next record of the key, unless that
  // one starts behind the new entry: then the entry goes at this one's end.
  // The records passed over are only peeked at: in a chain kept in order a
  // record holds the place exactly when its last entry is not before the
  // new one, so only the record that changes is read whole. A long chain
  // (a remedy of many thousand symptoms) costs a peek a record.
  int place = Scan<T>(*rec, entry);
  int seq = rec->Seq;
  bool loaded = true; // *rec is the record at seq, and the current one
  while (place < 0) {
    static Rec key;
    Entry first, last;
    int n = 0;
    T::CopyKey(&key, *rec);
    key.Seq = static_cast<uint8_t>(seq + 1);
    bool more = seq < 255 && T::Peek(h, &key, &first, &last, &n) == 0;
    if (!more || first.Num > entry.Num) {
      if (!loaded && FindAt<T>(h, rec, seq))
        return 1;
      place = Count<T>(*rec);
      break;
    }
    ++seq;
    loaded = false;
    if (n > 0 && !Before(last, entry)) {
      if (FindAt<T>(h, rec, seq))
        return 1;
      loaded = true;
      place = Scan<T>(*rec, entry);
    }
  }

  // 3: room in the record.
  int count = Count<T>(*rec);
  if (count < kChainSplitAt) {
    memmove(&rec->Entries[place + 1], &rec->Entries[place],
            sizeof(Entry) * (count - place + 1));
    rec->Entries[place] = entry;
    return T::Save(h, rec, kSaveReplace) != 0 || OrvixError != 0;
  }

  // 4: split. The records behind move up by one Seq, from the last down;
  // the store copies them with their new Seq in one write (their entries
  // do not change, so they need not be read and written as records).
  static Rec probe;
  int last = LastSeq<T>(h, *rec);
  if (last >= 255) { // Seq is one byte: the chain cannot grow a record
    OrvixError = kErrTooLarge;
    return 1;
  }
  if (last > seq) {
    T::CopyKey(&probe, *rec);
    if (T::ShiftUp(h, &probe, seq + 1, last) != 0 || OrvixError != 0)
      return 1;
  }
  // *rec is still the record at seq, and the current one: the shift leaves
  // both alone.
  // The tail of the full record, from the place on, becomes Seq + 1.
  probe = *rec;
  memmove(&probe.Entries[0], &rec->Entries[place],
          sizeof(Entry) * (count - place));
  probe.Entries[count - place] = T::Terminator();
  probe.Seq = static_cast<uint8_t>(seq + 1);
  if (T::Save(h, &probe, kSaveAdd) != 0 || OrvixError != 0)
    return 1;
  // The head keeps what stood before the place, and the new entry.
  if (FindAt<T>(h, rec, seq))
    return 1;
  rec->Entries[place] = entry;
  rec->Entries[place + 1] = T::Terminator();
  return T::Save(h, rec, kSaveReplace) != 0 || OrvixError != 0;
}

} // namespace

ExtractEntry ChainExtractTerminator() {
  return ExtractEntry{0, 0, 0, 0, 0xffff};
}
ExSpEntry ChainExSpTerminator() {
  return ExSpEntry{0xffffffffu, 0xffff, 0, 0};
}
WordEntry ChainWordTerminator() {
  return WordEntry{0, 0, 0, 0xffff};
}

int ChainCountExtract(const Extract &rec) {
  return Count<ExtractTraits>(rec);
}
int ChainCountExSp(const ExSp &rec) {
  return Count<ExSpTraits>(rec);
}
int ChainCountWord(const Word &rec) {
  return Count<WordTraits>(rec);
}

int ChainInsertExtract(TblHandle h, Extract *rec, const ExtractEntry &entry) {
  return Insert<ExtractTraits>(h, rec, entry);
}
int ChainInsertExSp(TblHandle h, ExSp *rec, const ExSpEntry &entry) {
  return Insert<ExSpTraits>(h, rec, entry);
}
int ChainInsertWord(TblHandle h, Word *rec, const WordEntry &entry) {
  return Insert<WordTraits>(h, rec, entry);
}

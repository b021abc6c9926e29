// Word index: add, remove and renumber the words of a symptom.
#include "ops/wordindex.h"

#include "ops/chainlist.h"
#include "platform/cp1252.h"
#include "platform/strutil.h"

#include <cstring>

Word WordRecord;

namespace {

// The longest text a word can come from: a reference field.
constexpr int kTokenBufferSize = 2049;

bool IsWordSeparator(char c) {
  return c == '\0' || strchr(" .,;:(){}[]'\"", c) != nullptr;
}

// The work of one routine on one language's tokens. Each stops the walk by
// answering nonzero; the answer then becomes the routine's (2 means "stop
// quietly", which the routine turns into 0).
typedef int (*TokenWork)(const char *token, void *ctx);

int ForEachToken(const char *text, int limit, TokenWork work, void *ctx) {
  char token[kTokenBufferSize];
  int len = 0;
  int cap = limit > 0 ? limit : kTokenBufferSize - 1;
  for (const char *p = text;; ++p) {
    char c = *p;
    if (IsWordSeparator(c)) {
      if (len > 0) {
        token[len] = '\0';
        len = 0;
        int r = work(token, ctx);
        if (r != 0)
          return r;
      }
      if (c == '\0')
        return 0;
      continue;
    }
    if (len == cap) {
      // The character that would pass the limit is lost; what follows it
      // is a word of its own.
      token[len] = '\0';
      len = 0;
      int r = work(token, ctx);
      if (r != 0)
        return r;
      continue;
    }
    token[len++] = ToLowerWin(c);
  }
}

// Loads the first record of a word into WordRecord; answers true when found.
bool FindWord(TblHandle h, const char *token) {
  TblClearWord(&WordRecord);
  WordRecord.CursorState = 0xff;
  StrCopy(WordRecord.Text, token);
  WordRecord.Seq = 0;
  return TblFindFullWord(h, &WordRecord, 0, kFindEqual, nullptr) == 0 &&
         OrvixError == 0;
}

struct AddCtx {
  TblHandle h;
  WordEntry entry;
};

int AddToken(const char *token, void *p) {
  AddCtx *ctx = static_cast<AddCtx *>(p);
  if (FindWord(ctx->h, token))
    return ChainInsertWord(ctx->h, &WordRecord, ctx->entry);
  TblClearWord(&WordRecord);
  WordRecord.CursorState = 0xff;
  StrCopy(WordRecord.Text, token);
  WordRecord.Seq = 0;
  WordRecord.Entries[0] = ctx->entry;
  WordRecord.Entries[1] = ChainWordTerminator();
  return TblSaveWord(ctx->h, &WordRecord, kSaveAdd) != 0 || OrvixError != 0;
}

struct RemoveCtx {
  TblHandle h;
  uint32_t num;
  uint16_t sub;
};

bool EntryBefore(const WordEntry &e, uint32_t num, uint16_t sub) {
  return e.Num < num || (e.Num == num && e.Sub < sub);
}

int RemoveToken(const char *token, void *p) {
  RemoveCtx *ctx = static_cast<RemoveCtx *>(p);
  // A word longer than the table keeps was stored under its first letters;
  // the whole word is looked for, so such a word is never found here.
  if (!FindWord(ctx->h, token) ||
      strncmp(WordRecord.Text, token, sizeof WordRecord.Text) != 0 ||
      strlen(token) > static_cast<size_t>(kWordKeyMax))
    return 2;
  // Walk as the insert does to the first entry at or after (num, sub).
  int place = -1;
  for (;;) {
    for (int i = 0; i < kChainScanMax; ++i) {
      if (TblIsLastWordSymptom(&WordRecord.Entries[i]) == 2)
        break;
      if (!EntryBefore(WordRecord.Entries[i], ctx->num, ctx->sub)) {
        place = i;
        break;
      }
    }
    if (place >= 0)
      break;
    static Word next;
    next = WordRecord;
    int seq = WordRecord.Seq;
    TblFindFullWord(ctx->h, &next, 0, kFindNext, nullptr);
    if (OrvixError == 0 &&
        strncmp(next.Text, WordRecord.Text, sizeof next.Text) == 0 &&
        !(next.Entries[0].Num > ctx->num)) {
      WordRecord = next;
      continue;
    }
    WordRecord.Seq = static_cast<uint8_t>(seq);
    if (TblFindFullWord(ctx->h, &WordRecord, 0, kFindEqual, nullptr) != 0 ||
        OrvixError != 0)
      return 1;
    break;
  }
  if (place < 0)
    return 0; // nothing stands at or after the place: nothing to take out
  int count = ChainCountWord(WordRecord);
  memmove(&WordRecord.Entries[place], &WordRecord.Entries[place + 1],
          sizeof(WordEntry) * (count - place));
  if (TblSaveWord(ctx->h, &WordRecord, kSaveReplace) != 0 || OrvixError != 0)
    return 1;
  if (WordRecord.Seq == 0 && ChainCountWord(WordRecord) == 0) {
    if (TblDeleteWord(ctx->h) != 0 || OrvixError != 0)
      return 1;
  }
  return 0;
}

struct RenumberCtx {
  TblHandle h;
  uint32_t num, newNum;
  uint16_t sub, newSub;
};

int RenumberToken(const char *token, void *p) {
  RenumberCtx *ctx = static_cast<RenumberCtx *>(p);
  char key[sizeof WordRecord.Text];
  StrCopy(key, token);
  if (!FindWord(ctx->h, token))
    return 0;
  while (OrvixError == 0 && strncmp(WordRecord.Text, key, sizeof key) == 0) {
    bool stop = false;
    for (int i = 0; i < kChainScanMax; ++i) {
      WordEntry &e = WordRecord.Entries[i];
      if (TblIsLastWordSymptom(&e) == 2)
        break;
      if (e.Num == ctx->num && e.Sub == ctx->sub) {
        e.Num = ctx->newNum;
        e.Sub = ctx->newSub;
        if (e.EndNum == ctx->num && e.EndSub <= ctx->sub) {
          e.EndNum = ctx->newNum;
          e.EndSub = ctx->newSub;
        }
        if (TblSaveWord(ctx->h, &WordRecord, kSaveReplace) != 0 ||
            OrvixError != 0)
          return 1;
      }
      if (e.Num > ctx->num) {
        stop = true;
        break;
      }
    }
    if (stop)
      break;
    TblFindFullWord(ctx->h, &WordRecord, 0, kFindNext, nullptr);
  }
  return 0;
}

int BothLanguages(TblHandle word1, TblHandle word2, const char *text1,
                  const char *text2, int limit, TokenWork work, void *ctx,
                  TblHandle *handleSlot) {
  const char *texts[2] = {text1, text2};
  TblHandle handles[2] = {word1, word2};
  for (int lang = 0; lang < 2; ++lang) {
    if (texts[lang] == nullptr || texts[lang][0] == '\0' || handles[lang] == 0)
      continue;
    *handleSlot = handles[lang];
    int r = ForEachToken(texts[lang], limit, work, ctx);
    if (r == 2)
      return 0; // a quiet end: the rest is not worked on
    if (r != 0)
      return 1;
  }
  return 0;
}

// The end of the range of (num, sub): the last symptom of its subtree is
// not looked for; a range that takes in a subtree ends in the block of its
// last record at kWordSubtreeEnd, so that later inserts stay inside it.
void RangeEnd(TblHandle symptoms, uint32_t num, uint16_t sub, uint32_t *endNum,
              uint16_t *endSub) {
  *endNum = num;
  *endSub = sub;
  if (symptoms == 0)
    return;
  static Symptom rec;
  rec.CursorState = 0xff;
  TblClearSymptom(&rec);
  rec.Num = num;
  rec.Sub = sub;
  if (TblFindFullSymptom(symptoms, &rec, 0, kFindEqual) != 0 ||
      OrvixError != 0) {
    TblFreeSymptomRemed(&rec);
    return;
  }
  uint32_t parentNum = rec.ParentNum;
  uint16_t parentSub = rec.ParentSub;
  if (TblFindFullSymptom(symptoms, &rec, 4, kFindNext) == 0 &&
      OrvixError == 0 && rec.ParentNum == parentNum &&
      rec.ParentSub == parentSub) {
    // A next sibling: the range ends in the block of the record before it.
    if (TblFindFullSymptom(symptoms, &rec, 0, kFindPrev) == 0 &&
        OrvixError == 0)
      *endNum = rec.Num;
    *endSub = kWordSubtreeEnd;
  } else {
    TblClearSymptom(&rec);
    rec.ParentNum = num;
    rec.ParentSub = sub;
    rec.Num = 0;
    rec.Sub = 0;
    rec.Text1[0] = '\0';
    if (TblFindFullSymptom(symptoms, &rec, 4, kFindAtOrAfter) == 0 &&
        OrvixError == 0 && rec.ParentNum == num && rec.ParentSub == sub)
      *endSub = kWordSubtreeEnd;
  }
  TblClearSymptom(&rec);
  rec.Num = num;
  rec.Sub = sub;
  TblFindFullSymptom(symptoms, &rec, 0, kFindEqual);
  TblFreeSymptomRemed(&rec);
}

struct TokenCall {
  void (*each)(const char *, void *);
  void *ctx;
};

int CallEach(const char *token, void *p) {
  TokenCall *call = static_cast<TokenCall *>(p);
  call->each(token, call->ctx);
  return 0;
}

} // namespace

int WordIndexAdd(TblHandle symptoms, TblHandle word1, TblHandle word2,
                 const char *text1, const char *text2, uint32_t num,
                 uint16_t sub) {
  AddCtx ctx{};
  uint32_t endNum;
  uint16_t endSub;
  RangeEnd(symptoms, num, sub, &endNum, &endSub);
  ctx.entry = WordEntry{num, sub, endNum, endSub};
  return BothLanguages(word1, word2, text1, text2, 0, AddToken, &ctx, &ctx.h);
}

int WordIndexRemove(TblHandle word1, TblHandle word2, const char *text1,
                    const char *text2, uint32_t num, uint16_t sub) {
  RemoveCtx ctx{0, num, sub};
  return BothLanguages(word1, word2, text1, text2, kWordRemoveMax, RemoveToken,
                       &ctx, &ctx.h);
}

int WordIndexRenumber(TblHandle word1, TblHandle word2, const char *text1,
                      const char *text2, uint32_t num, uint16_t sub,
                      uint32_t newNum, uint16_t newSub) {
  RenumberCtx ctx{0, num, newNum, sub, newSub};
  return BothLanguages(word1, word2, text1, text2, 0, RenumberToken, &ctx,
                       &ctx.h);
}

void WordIndexTokens(const char *text, int limit,
                     void (*each)(const char *token, void *ctx), void *ctx) {
  if (text == nullptr || each == nullptr)
    return;
  TokenCall call{each, ctx};
  ForEachToken(text, limit, CallEach, &call);
}

#!/usr/bin/env python3
# -*- coding: utf-8 -*-
"""Writes the symptom sources of the demonstration installation.

    python3 data/demo/gen/gen_repertory.py      (from the repository root)

Expands the rubrics of vocab.py into the two editions of the repertory
(salm2009.txt, salm2012.txt) and the concept repertory (calm2009.txt). The
output is a pure function of vocab.py, remedies.txt and authors.txt: the
choices that look random are taken from CRC-32 sums of the symptom paths, so
running the script twice writes the same bytes. The written files are
committed beside this script; the installation builder reads only them.

Symptom line:   <indent><level>|<unique id>|<English>|<French>|<remedies>
A remedy is written "Abbrev<degree>", followed by "/<author>" when the author
is not Kent and by "*" when the user changed the entry.
Extra lines belong to the symptom above them:
    +syn1|text  +syn2|text     synonym fields (words "(= ...)" or a list)
    +xref1|text +xref2|text    cross-reference fields
    +note|remedy|author|degree|kind|English|French   ("0" remedy: on the symptom)
    +link|kind|remedy|author|degree|title|file
    +type|NN                   symptom type and sub-type digits
    +concept|uid uid ...       (concept repertory) linked symptoms of SALM2009
"""
import os
import sys
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))
DEMO = os.path.dirname(HERE)
sys.path.insert(0, HERE)
import vocab  # noqa: E402

MAX_LEVEL = 6
DEFAULT_AUTHOR = "Kent"


def h(*parts):
    return zlib.crc32("\x1f".join(parts).encode("utf-8"))


def read_table(name):
    rows = []
    with open(os.path.join(DEMO, name), encoding="utf-8") as f:
        for line in f:
            line = line.rstrip("\n")
            if not line or line.startswith("#"):
                continue
            rows.append(line.split("|"))
    return rows


REMEDIES = [r[1] for r in read_table("remedies.txt")]
REMEDY_SET = set(REMEDIES)
AUTHORS = [a[1] for a in read_table("authors.txt")]

# The remedies most often met in every chapter, and the weight of their draw.
POLYCHRESTS = ["Sulph.", "Calc.", "Lyc.", "Phos.", "Puls.", "Sep.", "Nux-v.",
               "Ars.", "Nat-m.", "Sil.", "Bell.", "Bry.", "Merc.", "Rhus-t.",
               "Lach.", "Graph.", "Caust.", "Kali-c.", "Carb-v.", "Hep."]


def remedy_name(token):
    if token in REMEDY_SET:
        return token
    if token.endswith(".") and token[:-1] in REMEDY_SET:
        return token[:-1]
    raise SystemExit("unknown remedy in vocab.py: " + token)


def parse_leads(text):
    out = []
    for tok in text.split():
        deg = int(tok[-1])
        out.append((remedy_name(tok[:-1]), deg))
    return out


class Node:
    def __init__(self, en, fr, level):
        self.en, self.fr, self.level = en, fr, level
        self.kids = []
        self.rems = []      # (remedy, degree, author, user)
        self.extras = []    # (tag, text)
        self.uid = 0

    def path(self):
        return self._path

    def walk(self):
        yield self
        for k in self.kids:
            yield from k.walk()


def degree_draw(v):
    r = v % 100
    return 1 if r < 55 else 2 if r < 85 else 3 if r < 97 else 4


def author_draw(v):
    if v % 10 < 6:
        return DEFAULT_AUTHOR
    return AUTHORS[1 + (v // 10) % (len(AUTHORS) - 1)]


def fill_remedies(node, key, leads, pool, parent_rems):
    """Leading remedies first, then a deterministic draw from the pools."""
    rems = {}
    for rem, deg in leads:
        rems[(rem, DEFAULT_AUTHOR)] = deg
    v = h(key, "fill")
    if parent_rems and not leads:
        # A sub-rubric keeps part of its parent's remedies.
        for i, (rem, deg, auth, _u) in enumerate(parent_rems):
            w = h(key, rem, str(i))
            if w % 100 < 45:
                rems[(rem, auth)] = max(1, deg - (w >> 8) % 2)
        extra = v % 3
    else:
        extra = (3 + v % 10) if node.level == 2 else v % 3
    for i in range(extra):
        w = h(key, "draw", str(i))
        src = POLYCHRESTS if w % 3 else pool
        rem = src[(w >> 4) % len(src)]
        auth = author_draw(w >> 12)
        if (rem, auth) not in rems:
            rems[(rem, auth)] = degree_draw(w >> 20)
    # Now and then a second author for a remedy already there.
    for (rem, auth), deg in list(rems.items()):
        w = h(key, rem, auth, "second")
        if w % 100 < 7:
            other = AUTHORS[1 + (w >> 8) % (len(AUTHORS) - 1)]
            if other != auth and (rem, other) not in rems:
                rems[(rem, other)] = max(1, deg - 1)
    if not rems and parent_rems:
        # Never an empty sub-rubric: the parent's strongest remedy stays.
        rem, deg, auth, _u = max(parent_rems, key=lambda e: (e[1], e[0]))
        rems[(rem, auth)] = deg
    out = []
    for (rem, auth), deg in rems.items():
        user = h(key, rem, auth, "user") % 61 == 0
        out.append((rem, deg, auth, user))
    out.sort(key=lambda e: (e[0], e[2]))
    node.rems = out


# Rubrics that carry the whole tree of times, down to the sixth level, so
# that the book shows "Mind - anxiety - night - midnight - after - 3 - 5 h".
FULL_TIMES = {"Mind|anxiety": ["morning", "evening", "night"],
              "Mind|fear": ["evening", "night"],
              "Head|pain": ["morning", "night"],
              "Cough|dry": ["evening", "night"],
              "Sleep|sleeplessness": ["evening", "night"]}


def time_subtree(parent, spec, key, pool, full=False):
    en, fr, kids = spec
    if parent.level + 1 > MAX_LEVEL:
        return
    n = Node(en, fr, parent.level + 1)
    fill_remedies(n, key + "|" + en, [], pool, parent.rems)
    parent.kids.append(n)
    for k in kids:
        if full or h(key, en, k[0]) % 3 != 0 or n.level < 4:
            time_subtree(n, k, key + "|" + en, pool, full)


def add_modalities(node, key, pool, times_max, mods_max):
    v = h(key, "mods")
    ntimes = v % (times_max + 1)
    nmods = (v >> 8) % (mods_max + 1)
    chosen_t = sorted({(v >> (12 + 3 * i)) % len(vocab.TIMES) for i in range(ntimes)})
    taken = {k.en for k in node.kids}
    for t in vocab.TIMES:
        if t[0] in FULL_TIMES.get(key, []):
            time_subtree(node, t, key, pool, True)
            taken.add(t[0])
    for ti in chosen_t:
        if vocab.TIMES[ti][0] not in taken:
            time_subtree(node, vocab.TIMES[ti], key, pool)
    mods = []
    for i in range(nmods):
        m = vocab.MODALITIES[h(key, "mod", str(i)) % len(vocab.MODALITIES)]
        if m[0] not in taken and m not in mods:
            mods.append(m)
    for en, fr in sorted(mods):
        n = Node(en, fr, node.level + 1)
        fill_remedies(n, key + "|" + en, [], pool, node.rems)
        node.kids.append(n)


def build_rubric(parent, spec, key, pool):
    en, fr, leads, kids = spec
    n = Node(en, fr, parent.level + 1)
    fill_remedies(n, key + "|" + en, parse_leads(leads), pool, parent.rems)
    parent.kids.append(n)
    for k in kids:
        build_rubric(n, k, key + "|" + en, pool)
    # Times stand first, in the order of the day; then the rest by name.
    if n.level < MAX_LEVEL and en not in vocab.NO_MODALITIES:
        if n.level == 2:
            add_modalities(n, key + "|" + en, pool, 3, 4)
        else:
            add_modalities(n, key + "|" + en, pool, 1,
                           2 if parent.en in vocab.MODAL_PARENTS else 0)
    n.kids.sort(key=kid_key)
    return n


TIME_ORDER = {t[0]: i for i, t in enumerate(vocab.TIMES)}


def kid_key(k):
    if k.en in TIME_ORDER:
        return (0, TIME_ORDER[k.en], "")
    return (1, 0, k.en.lower())


def build_edition():
    root = Node("", "", 0)
    for cen, cfr, rubrics in vocab.CHAPTERS:
        ch = Node(cen, cfr, 1)
        root.kids.append(ch)
        pool = []
        for r in rubrics:
            for rem, _ in parse_leads(r[2]):
                if rem not in pool:
                    pool.append(rem)
        for r in rubrics:
            build_rubric(ch, r, cen, pool)
        ch.kids.sort(key=lambda k: k.en.lower())
    set_paths(root)
    return root


def set_paths(root):
    def rec(n, prefix):
        for k in n.kids:
            k._path = prefix + [k.en]
            rec(k, k._path)
    rec(root, [])


def find(root, path):
    n = root
    for part in path.split(" > "):
        nxt = [k for k in n.kids if k.en == part]
        if not nxt:
            raise SystemExit("no such symptom: " + path)
        n = nxt[0]
    return n


def find_parent(root, path):
    parts = path.split(" > ")
    return find(root, " > ".join(parts[:-1])) if len(parts) > 1 else root


def check_siblings(root):
    for n in root.walk():
        seen_en, seen_fr = set(), set()
        for k in n.kids:
            if k.en in seen_en or k.fr in seen_fr:
                raise SystemExit("doubled sibling: %s under %s" % (k.en, n.en))
            seen_en.add(k.en)
            seen_fr.add(k.fr)


# ------------------------------------------------------------ extras

EXTRAS = {
    "Mind > anxiety": [("syn1", "(= anguish, apprehension)"),
                       ("syn2", "(= angoisse, appréhension)"),
                       ("xref1", "2fear / 2restlessness / 1Generalities - weakness"),
                       ("xref2", "2peur / 2agitation"),
                       ("note", "0|0|0|1|Compare the fear rubrics; anxiety here is the state, fear has an object.|Comparer les rubriques de peur ; l'anxiété est un état, la peur a un objet."),
                       ("type", "10")],
    "Mind > fear > death, of": [("note", "Acon.|Kent|4|2|Predicts the hour of death.|Prédit l'heure de sa mort."),
                                ("link", "3|Acon.|Kent|4|Aconitum napellus in flower|acon-flower.svg")],
    "Mind > grief": [("syn1", "(= sorrow, bereavement)"), ("syn2", "(= tristesse, deuil)"),
                     ("xref1", "2weeping / 2indifference"),
                     ("note", "Ign.|Kent|4|2|Sighing and sobbing; contradictory symptoms.|Soupirs et sanglots ; symptômes contradictoires."),
                     ("type", "20")],
    "Mind > grief > ailments from": [("type", "18"), ("xref1", "2grief - silent / 1Generalities - weakness")],
    "Mind > irritability": [("syn1", "(= peevishness)"), ("syn2", "(= humeur chagrine)"),
                            ("link", "2|0|0|0|Lecture on irritability|irritability-lecture.ogg")],
    "Mind > restlessness": [("xref1", "2anxiety / 1Extremities - restlessness"),
                            ("xref2", "2anxiété / 1Extrémités - agitation")],
    "Mind > weeping": [("syn1", "(= crying, tearfulness)"), ("syn2", "(= larmes)"),
                       ("note", "Puls.|Kent|4|2|Weeps easily, even while telling her symptoms; consolation amel.|Pleure facilement, même en racontant ses symptômes ; consolation amél.")],
    "Mind > forgetful": [("syn1", "1Mind - memory, weakness of"), ("syn2", "(= mémoire, faiblesse de la)")],
    "Mind > delusions": [("syn1", "(= imaginations, hallucinations)"),
                         ("syn2", "(= imaginations, hallucinations)")],
    "Vertigo > vertigo": [("xref1", "1Head - heaviness / 1Stomach - nausea - motion, from"),
                          ("note", "0|0|0|1|Vertigo with nausea: see also Stomach.|Vertige avec nausée : voir aussi Estomac.")],
    "Vertigo > vertigo > turning in bed": [("note", "Con.|Kent|4|2|Vertigo when turning in bed, as if the bed turned.|Vertige en se tournant dans le lit, comme si le lit tournait.")],
    "Head > pain": [("syn1", "(= headache, cephalalgia)"), ("syn2", "(= céphalée, mal de tête)"),
                    ("xref1", "2heat / 2heaviness / 1Vertigo - vertigo"),
                    ("link", "3|0|0|0|Regions of the head|head-regions.svg"),
                    ("type", "30")],
    "Head > pain > throbbing": [("syn1", "(= pulsating, beating)"), ("syn2", "(= battante)"),
                                ("note", "Glon.|Kent|4|2|Surging of blood to the head; cannot bear heat on the head.|Afflux de sang à la tête ; ne supporte pas la chaleur sur la tête."),
                                ("link", "3|Bell.|Kent|4|Atropa belladonna|bell-plant.svg")],
    "Head > pain > forehead": [("xref1", "3occiput / 3temples"), ("xref2", "3occiput / 3tempes")],
    "Eye > photophobia": [("syn1", "(= light, intolerance of)"), ("syn2", "(= lumière, intolérance à la)")],
    "Ear > pain": [("xref1", "1Throat - pain - swallowing, on"),
                   ("note", "Cham.|Kent|4|2|Unbearable pain, the child wants to be carried.|Douleur insupportable, l'enfant veut être porté.")],
    "Nose > coryza": [("syn1", "(= cold in the head)"), ("syn2", "(= rhume de cerveau)"),
                      ("link", "1|0|0|0|Allium cepa, the onion remedy|all-c-onion.mpg")],
    "Face > discoloration > red": [("type", "10")],
    "Throat > lump, sensation of": [("syn1", "(= globus)"), ("syn2", "(= globus)"),
                                    ("note", "Ign.|Kent|4|2|Not amel. by swallowing; worse from grief.|Non amél. en avalant ; pire après un chagrin.")],
    "Stomach > nausea": [("syn1", "(= sickness)"), ("syn2", "(= mal au coeur)"),
                         ("xref1", "2vomiting / 1Vertigo - vertigo"),
                         ("note", "Ip.|Kent|4|2|Constant nausea not amel. by vomiting; clean tongue.|Nausée constante non amél. par le vomissement ; langue propre.")],
    "Stomach > thirst": [("xref1", "2thirstless"), ("xref2", "2absence de soif")],
    "Stomach > thirstless": [("xref1", "2thirst"), ("xref2", "2soif"), ("type", "20")],
    "Abdomen > pain > bending double amel.": [("note", "Coloc.|Kent|4|2|Bends double and presses hard on the abdomen.|Se plie en deux et presse fort sur le ventre.")],
    "Rectum > diarrhoea": [("syn1", "(= loose stools)"), ("syn2", "(= selles liquides)"),
                           ("note", "0|0|0|1|Note the hour of the stool; the morning rubric is small and precise.|Noter l'heure de la selle ; la rubrique du matin est petite et précise.")],
    "Rectum > constipation": [("xref1", "2constipation - ineffectual urging / 1Abdomen - distension")],
    "Respiration > asthmatic": [("syn1", "(= asthma)"), ("syn2", "(= asthme)"), ("type", "30")],
    "Cough > dry": [("xref1", "1Respiration - difficult / 1Chest - oppression")],
    "Cough > whooping": [("syn1", "(= pertussis)"), ("syn2", "(= pertussis)"),
                         ("link", "2|Dros.|Kent|3|Whooping cough, recording|whooping.ogg")],
    "Chest > palpitation of heart": [("syn1", "(= heart, palpitation)"), ("syn2", "(= coeur, palpitations)"),
                                     ("note", "Cact.|Kent|3|2|As if the heart were grasped by an iron hand.|Comme si le coeur était serré par une main de fer.")],
    "Back > pain > lumbar region": [("syn1", "(= lumbago)"), ("syn2", "(= lumbago)")],
    "Extremities > pain > joints": [("xref1", "2pain - wandering / 2swelling"),
                                    ("note", "Bry.|Kent|3|2|Worse from the least motion; better from pressure.|Pire au moindre mouvement ; mieux par la pression.")],
    "Extremities > perspiration > feet > offensive": [("type", "20")],
    "Sleep > sleeplessness": [("syn1", "(= insomnia)"), ("syn2", "(= insomnie)"),
                              ("xref1", "2sleeplessness - thoughts, from activity of / 1Mind - anxiety - night")],
    "Sleep > dreams": [("link", "3|0|0|0|Night scene|night-scene.svg")],
    "Fever > heat": [("xref1", "2chill / 1Head - heat"), ("type", "10")],
    "Skin > eruptions": [("syn1", "(= exanthema)"), ("syn2", "(= exanthème)"),
                         ("note", "Sulph.|Kent|3|2|Itching, burning, worse from washing.|Démangeaison, brûlure, pire en se lavant.")],
    "Skin > warts": [("syn1", "(= verrucae)"), ("syn2", "(= verrues)"),
                     ("link", "3|Thuj.|Kent|3|Thuja occidentalis|thuj-tree.svg")],
    "Generalities > sides > right": [("xref1", "2sides - right to left")],
    "Generalities > weakness": [("syn1", "(= debility, prostration)"), ("syn2", "(= débilité, prostration)"),
                                ("note", "Chin.|Kent|3|2|From loss of vital fluids.|Après perte de liquides vitaux.")],
    "Generalities > weather > change of": [("xref1", "2weather - storm, before / 1Generalities - cold, taking a, tendency")],
}


# Classical keynotes placed by hand where the draw would leave them weak.
KEYNOTES = {
    "Mind > anxiety > night > midnight > after": "Ars.3 Kali-c.2",
    "Mind > anxiety > night > midnight > after > 3 - 5 h": "Ars.3 Kali-c.3",
    "Mind > anxiety > evening > bed, in": "Ars.3 Calc.2 Phos.2",
    "Mind > fear > night": "Acon.3 Ars.3 Stram.3",
    "Head > pain > morning > waking, on": "Nat-m.3 Lach.3 Nux-v.2",
    "Cough > dry > night": "Hyos.3 Bell.2 Con.2",
    "Sleep > sleeplessness > night > midnight > after": "Nux-v.3 Ars.2 Kali-c.2",
}


def apply_keynotes(root):
    for path, leads in KEYNOTES.items():
        n = find(root, path)
        rems = {(r, a): (d, u) for r, d, a, u in n.rems}
        for rem, deg in parse_leads(leads):
            old = rems.get((rem, DEFAULT_AUTHOR), (0, False))
            rems[(rem, DEFAULT_AUTHOR)] = (max(deg, old[0]), old[1])
        n.rems = sorted([(r, d, a, u) for (r, a), (d, u) in rems.items()],
                        key=lambda e: (e[0], e[2]))


def apply_extras(root, extras):
    for path, items in extras.items():
        n = find(root, path)
        for tag, text in items:
            if tag == "note":
                rem, auth, deg = text.split("|")[:3]
                if rem != "0" and not any(r[0] == rem and r[2] == auth and r[1] == int(deg)
                                          for r in n.rems):
                    raise SystemExit("note on a remedy the symptom lacks: %s %s" % (path, rem))
            n.extras.append((tag, text))


# ------------------------------------------------------------ second edition

RENAMES = [  # path in 2009, new English, new French
    ("Mind > forgetful", "forgetfulness", "oubli"),
    ("Mind > irritability > questioned, when", "questioned, when answering", "interrogé, quand il doit répondre"),
    ("Head > hair, falling", "hair, falling out", "cheveux, chute des, par touffes"),
    ("Stomach > eructations", "eructations, belching", "éructations, renvois"),
    ("Sleep > sleepiness", "sleepiness, drowsiness", "somnolence, assoupissement"),
    ("Skin > cracks", "cracks, fissures", "crevasses, fissures"),
]
MOVES = [  # path in 2009, new parent path in 2012
    ("Vertigo > closing the eyes", "Vertigo > vertigo"),
    ("Vertigo > heights, on", "Vertigo > vertigo"),
    ("Chest > constriction", "Chest > oppression"),
    ("Sleep > yawning", "Sleep > sleepiness"),
    ("Mind > jealousy", "Mind > delusions"),
]
DELETES = [
    "Mind > delusions > glass, that she is made of",
    "Ear > noises > roaring",
    "Face > eruptions > acne",
    "Rectum > itching",
    "Urine > odour, strong",
    "Back > coldness",
]
ADDITIONS = [  # parent path in 2012, English, French, remedies
    ("Mind > anxiety", "waiting, when", "attente, pendant l'", "Arg-n.3 Gels.2 Med.2"),
    ("Mind > fear", "examination, before an", "examen, avant un", "Arg-n.3 Gels.3 Lyc.2 Anac.1"),
    ("Head > pain", "ice-cold sensation", "froid glacial, sensation de", "Calc.2 Sep.1 Verat.1"),
    ("Stomach > desires", "cold drinks", "boissons froides", "Phos.3 Verat.2 Merc-c.1"),
    ("Cough > dry", "talking, from", "parlant, en", "Phos.2 Rumx.2 Dros.1"),
    ("Skin > eruptions", "eczema", "eczéma", "Graph.3 Mez.2 Sulph.2 Petr.1"),
    ("Generalities", "obesity", "obésité", "Calc.3 Graph.2 Caps.1 Ferr.1"),
    ("Sleep > dreams", "water, of", "eau, d'", "Ars.1 Merc.1 Ferr.1"),
    # The target of the pointer "forgetful" has always had (EXTRAS).
    ("Mind", "memory, weakness of", "mémoire, faiblesse de la", "Anac.2 Bar-c.2 Lyc.2"),
]
# Synonyms of the new edition only, by their 2012 paths: a pointer that
# names two symptoms, which a transfer cannot follow.
EXTRAS_2012 = {
    "Sleep > sleepiness, drowsiness": [("syn1", "2dreams / 2sleeplessness")],
}
DEGREE_CHANGES = [  # path, remedy, new degree
    ("Mind > anxiety > future, about", "Anac.", 2),
    ("Head > pain > occiput", "Gels.", 4),
    ("Stomach > thirstless", "Apis", 3),
]


def second_edition(next_uid):
    root = build_edition()
    apply_keynotes(root)
    apply_extras(root, EXTRAS)
    copy_uids_from = first_uids
    for n in root.walk():
        if n.level:
            n.uid = copy_uids_from[tuple(n._path)]
            # A published edition carries none of the user's changes: an
            # addition is not there, a changed degree has its old value.
            n.rems = [(r, d - 1 if u and user_op(n, r, d, a) == 1 else d, a, False)
                      for r, d, a, u in n.rems
                      if not u or user_op(n, r, d, a) == 1]
    for path, rem, deg in DEGREE_CHANGES:
        n = find(root, path)
        n.rems = [(r, deg if r == rem else d, a, u) for r, d, a, u in n.rems]
    for path, new_parent in MOVES:
        n = find(root, path)
        find_parent(root, path).kids.remove(n)
        p = find(root, new_parent)
        p.kids.append(n)
        relevel(n, p.level + 1)
        p.kids.sort(key=kid_key)
    for path in DELETES:
        n = find(root, path)
        find_parent(root, path).kids.remove(n)
    for path, en, fr in RENAMES:
        n = find(root, path)
        n.en, n.fr = en, fr
    set_paths(root)
    for parent, en, fr, rems in ADDITIONS:
        p = find(root, parent)
        n = Node(en, fr, p.level + 1)
        n.rems = sorted([(r, d, DEFAULT_AUTHOR, False) for r, d in parse_leads(rems)],
                        key=lambda e: (e[0], e[2]))
        n.uid = next_uid
        next_uid += 1
        p.kids.append(n)
        p.kids.sort(key=kid_key)
    set_paths(root)
    apply_extras(root, EXTRAS_2012)
    check_siblings(root)
    return root


def relevel(n, level):
    n.level = level
    for k in n.kids:
        relevel(k, level + 1)


# ------------------------------------------------------------ concepts

CONCEPTS = [  # English, French, words that select symptoms of SALM2009
    ("Anxiety and fear", "Anxiété et peur", ["anxiety", "fear"]),
    ("Grief and sadness", "Chagrin et tristesse", ["grief", "weeping", "indifference"]),
    ("Irritability", "Irritabilité", ["irritability"]),
    ("Restlessness", "Agitation", ["restlessness"]),
    ("Burning", "Brûlure", ["burning"]),
    ("Throbbing", "Pulsation", ["throbbing"]),
    ("Cramps", "Crampes", ["cramps", "cramping"]),
    ("Cold, sensitivity to", "Froid, sensibilité au", ["cold air", "coldness", "cold, taking"]),
    ("Heat", "Chaleur", ["heat"]),
    ("Thirst", "Soif", ["thirst"]),
    ("Night", "Nuit", ["night", "midnight"]),
    ("Morning", "Matin", ["morning"]),
    ("Motion", "Mouvement", ["motion"]),
    ("Right side", "Côté droit", ["right"]),
    ("Left side", "Côté gauche", ["left"]),
    ("Eruptions", "Éruptions", ["eruptions", "eczema", "urticaria", "acne"]),
    ("Discharges", "Écoulements", ["discharges", "coryza", "salivation", "perspiration"]),
    ("Sleep", "Sommeil", ["sleep", "dreams", "yawning"]),
]
CONCEPT_GROUPS = [  # the concept chapters
    ("Mind and emotions", "Psychisme et émotions", 0, 4),
    ("Sensations", "Sensations", 4, 10),
    ("Modalities", "Modalités", 10, 15),
    ("Functions", "Fonctions", 15, 18),
]


def concept_repertory(salm):
    root = Node("", "", 0)
    for en, fr, first, last in CONCEPT_GROUPS:
        ch = Node(en, fr, 1)
        root.kids.append(ch)
        for cen, cfr, words in CONCEPTS[first:last]:
            c = Node(cen, cfr, 2)
            ch.kids.append(c)
            hits = []
            for n in salm.walk():
                if n.level >= 2 and any(n.en == w or n.en.startswith(w + ",")
                                        or n.en.startswith(w + " ") for w in words):
                    hits.append(n.uid)
            # A concept names at most 40 symptoms, spread over the book.
            if len(hits) > 40:
                step = len(hits) / 40.0
                hits = [hits[int(i * step)] for i in range(40)]
            c.extras.append(("concept", " ".join(str(u) for u in hits)))
        ch.kids.sort(key=lambda k: k.en.lower())
    set_paths(root)
    return root


# ------------------------------------------------------------ output

def rem_text(r):
    rem, deg, auth, user = r
    s = "%s%d" % (rem, deg)
    if auth != DEFAULT_AUTHOR:
        s += "/" + auth
    if user:
        s += "*"
    return s


def write(root, name, title):
    path = os.path.join(DEMO, name)
    with open(path, "w", encoding="utf-8", newline="\n") as f:
        f.write("# %s\n# Written by gen/gen_repertory.py from gen/vocab.py; "
                "do not edit by hand.\n" % title)
        count = 0
        for n in root.walk():
            if not n.level:
                continue
            count += 1
            f.write("%s%d|%d|%s|%s|%s\n" % ("  " * (n.level - 1), n.level, n.uid,
                                            n.en, n.fr, " ".join(rem_text(r) for r in n.rems)))
            for tag, text in n.extras:
                f.write("%s+%s|%s\n" % ("  " * (n.level - 1), tag, text))
    return count


def write_own_log(root, name):
    """The repertory's own log: one entry for each remedy the user marked.

    A marked entry is either an addition (operation 3) or a change of degree
    (operation 1); the log tells which, and the repertory already holds the
    result, as after a run.
    """
    path = os.path.join(DEMO, name)
    with open(path, "w", encoding="utf-8", newline="\n") as f:
        f.write("# Own log of SALM2009, written by gen/gen_repertory.py.\n"
                "# number|operation|date|time|unique id|tag|fields...\n")
        number = 0
        for n in root.walk():
            for rem, deg, auth, user in n.rems:
                if not user:
                    continue
                number += 1
                day = 1 + (number * 7) % 28
                month = 1 + (number // 4) % 12
                date = "%02d.%02d.2010" % (day, month)
                time = "%02d:%02d:%02d" % (8 + number % 10, (number * 13) % 60, (number * 29) % 60)
                p = " - ".join(n._path)
                if user_op(n, rem, deg, auth) == 1:
                    f.write("%d|1|%s|%s|%d|0|0|%s|%s|%s|%d|%d\n"
                            % (number, date, time, n.uid, p, rem, auth, deg - 1, deg))
                else:
                    f.write("%d|3|%s|%s|%d|0|0|%s|%s|%s|%d\n"
                            % (number, date, time, n.uid, p, rem, auth, deg))
        for line in OWN_LOG_2009:
            number += 1
            f.write("%d|%s\n" % (number, line))
    return number


def user_op(n, rem, deg, auth):
    """The operation of the own log that made a marked remedy: 1 changed
    its degree (from one less), 3 added it."""
    w = h(" - ".join(n._path), rem, auth, "op")
    return 1 if w % 3 == 0 and deg > 1 else 3


# Entries of the own log beyond the marked remedies, as a user's work on the
# 2009 edition leaves them: each meets what the 2012 edition changed, for a
# transfer to show ("=" takes the symptom's id, "0" is an entry without).
OWN_LOG_2009 = [
    # renamed, no id; the new symptom is a pointer to "memory, weakness of"
    "3|22.04.2010|11:00:00|0|0|0|Mind - forgetful|Sulph.|Kent|2",
    "3|01.05.2010|11:05:00|=|0|0|Mind - irritability - questioned, when|Lyc.|Hering|2",
    # below a renamed level, an old author abbreviation
    "3|08.05.2010|11:10:00|0|0|0|Mind - irritability - questioned, when - afternoon|Lyc.|K.|1",
    "3|15.05.2010|11:15:00|0|0|0|Head - hair, falling|Lyc.|Kent|2",
    # moved a level deeper, an old remedy abbreviation
    "3|22.05.2010|11:20:00|0|0|0|Vertigo - closing the eyes - morning|Nat-mur.|Kent|2",
    "3|01.06.2010|11:25:00|=|0|0|Chest - constriction|Kali-carb.|Hg.|2",
    "3|08.06.2010|11:30:00|0|0|0|Sleep - yawning|Ign.|Kent|2",
    # deleted from the new edition, without and with an id
    "3|15.06.2010|11:35:00|0|0|0|Mind - delusions - glass, that she is made of|Thuj.|Kent|3",
    "3|22.06.2010|11:40:00|=|0|0|Ear - noises - roaring|Puls.|Kent|1",
    # a user-defined remedy and author by their reserved names
    "3|01.07.2010|11:45:00|0|0|0|Mind - anxiety|rmd12|aut3|2",
    # references to a symptom kept, one moved, one moved a level deeper
    "5|08.07.2010|11:50:00|0|0|0|Mind - anxiety|0||2fear\\n2jealousy\\n1Vertigo - closing the eyes",
    # beside a symptom that moved a level deeper
    "8|15.07.2010|11:55:00|0|0|0|Vertigo - heights, on|0|heights, on, looking down|1|hauteurs, en regardant en bas",
    # a level of the user's own below a moved symptom, then a remedy on it
    "9|22.07.2010|12:00:00|0|0|0|Mind - jealousy|0|night|1|nuit",
    "3|01.08.2010|12:05:00|0|0|0|Mind - jealousy - night|Hyos.|Kent|2",
    # the new symptom points to two others
    "3|08.08.2010|12:10:00|0|0|0|Sleep - sleepiness|Nux-v.|Kent|3",
    # two old texts alike over the 59 characters compared, the first longer
    # than the association table's field (at/extra.txt)
    "3|15.08.2010|12:15:00|0|0|0|Mind - anxiety - anticipation of an ordeal, "
    "before an examination or a journey, with diarrhoea, trembling and a weak, "
    "empty feeling in the stomach|Lyc.|Kent|1",
    "3|22.08.2010|12:20:00|0|0|0|Mind - anxiety - anticipation of an ordeal, "
    "before an examination or a journey, without fear|Sil.|Kent|2",
]


first_uids = {}


def main():
    salm = build_edition()
    check_siblings(salm)
    apply_keynotes(salm)
    apply_extras(salm, EXTRAS)
    uid = 1001
    for n in salm.walk():
        if n.level:
            n.uid = uid
            first_uids[tuple(n._path)] = uid
            uid += 1
    c1 = write(salm, "salm2009.txt", "Almanacum 2009, the demonstration repertory")
    write_own_log(salm, "log-own.txt")
    salm12 = second_edition(uid)
    c2 = write(salm12, "salm2012.txt", "Almanacum 2012, the second edition")
    calm = concept_repertory(salm)
    cu = 501
    for n in calm.walk():
        if n.level:
            n.uid = cu
            cu += 1
    c3 = write(calm, "calm2009.txt", "Almanacum 2009 concepts, the partner repertory")
    depth = max(n.level for n in salm.walk())
    print("salm2009: %d symptoms, %d levels; salm2012: %d; calm2009: %d"
          % (c1, depth, c2, c3))


if __name__ == "__main__":
    main()

# -*- coding: utf-8 -*-
# The words of the demonstration repertory: chapters, rubrics, their French
# texts and the remedies that lead each rubric. gen_repertory.py expands this
# into the symptom sources; nothing here is random.
#
# A rubric is (English, French, leading remedies, sub-rubrics). Leading
# remedies are "Abbrev degree" pairs. Sub-rubrics have the same form; their
# remedies come from the parent when their own list is empty.

TIMES = [
    ("morning", "matin", [
        ("waking, on", "réveil, au", []),
        ("rising, after", "lever, après le", []),
    ]),
    ("forenoon", "matinée", []),
    ("noon", "midi", []),
    ("afternoon", "après-midi", [
        ("16 - 20 h", "16 - 20 h", []),
    ]),
    ("evening", "soir", [
        ("bed, in", "lit, au", []),
    ]),
    ("night", "nuit", [
        ("midnight", "minuit", [
            ("after", "après", [
                ("3 - 5 h", "3 - 5 h", []),
            ]),
            ("before", "avant", []),
        ]),
        ("waking, on", "réveil, au", []),
    ]),
]

MODALITIES = [
    ("agg. cold air", "agg. air froid"),
    ("amel. warmth", "amél. chaleur"),
    ("agg. motion", "agg. mouvement"),
    ("amel. rest", "amél. repos"),
    ("eating, after", "manger, après"),
    ("amel. open air", "amél. grand air"),
    ("agg. touch", "agg. attouchement"),
    ("amel. pressure", "amél. pression"),
    ("lying, while", "couché, étant"),
    ("walking, while", "marchant, en"),
    ("menses, during", "règles, pendant les"),
    ("damp weather", "temps humide"),
    ("sun, heat of", "soleil, chaleur du"),
    ("stooping", "penchant, en se"),
    ("company, amel.", "compagnie, amél. en"),
    ("alone, when", "seul, étant"),
    ("anger, after", "colère, après une"),
    ("fright, after", "frayeur, après une"),
    ("periodical", "périodique"),
    ("sudden", "soudain"),
]

LOCATIONS_HEAD = [
    ("forehead", "front", []),
    ("occiput", "occiput", []),
    ("temples", "tempes", []),
    ("vertex", "vertex", []),
    ("sides", "côtés", [
        ("right", "droit", []),
        ("left", "gauche", []),
    ]),
]

CHAPTERS = [
    ("Mind", "Psychisme", [
        ("anxiety", "anxiété", "Acon.3 Ars.4 Calc.3 Phos.3 Arg-n.3 Aur.2 Bell.2 Caust.2 Kali-c.3 Lyc.2 Nux-v.2 Puls.2 Sulph.2 Verat.2 Spong.2", [
            ("health, about", "santé, au sujet de sa", "Ars.3 Calc.2 Kali-c.2 Nit-ac.2 Phos.2", []),
            ("future, about", "avenir, au sujet de l'", "Calc.2 Caust.2 Anac.1 Dig.1 Phos.1", []),
            ("conscience, as if guilty of a crime", "conscience, comme s'il avait commis un crime", "Ars.3 Aur.2 Cycl.2 Alum.1 Dig.1", []),
        ]),
        ("fear", "peur", "Acon.4 Ars.3 Arg-n.3 Calc.3 Gels.3 Lyc.2 Phos.3 Stram.3 Puls.2 Bell.2 Ign.2", [
            ("death, of", "mort, de la", "Acon.4 Ars.3 Arg-n.2 Cimic.2 Gels.2 Plat.2 Verat.2", []),
            ("dark, of", "obscurité, de l'", "Stram.3 Calc.2 Phos.2 Puls.1 Cann-i.1", []),
            ("crowd, in a", "foule, dans la", "Acon.3 Arg-n.2 Puls.1 Nat-m.1", []),
            ("thunderstorm, of", "orage, de l'", "Phos.3 Nat-c.2 Rhod.2 Borx.1", []),
            ("alone, of being", "seul, d'être", "Ars.3 Phos.2 Kali-c.2 Lyc.2 Stram.2", []),
        ]),
        ("grief", "chagrin", "Ign.4 Nat-m.4 Ph-ac.3 Caust.2 Staph.2 Aur.1 Puls.1", [
            ("silent", "silencieux", "Ign.3 Nat-m.3 Ph-ac.2 Puls.1", []),
            ("ailments from", "troubles à la suite d'un", "Ign.3 Nat-m.3 Ph-ac.3 Caust.2 Staph.2", []),
        ]),
        ("irritability", "irritabilité", "Nux-v.4 Cham.4 Bry.3 Hep.3 Lyc.2 Sep.2 Staph.2 Kali-c.2 Nat-m.2", [
            ("children, in", "enfants, chez les", "Cham.3 Cina.3 Ant-c.2 Calc-p.1", []),
            ("questioned, when", "interrogé, quand il est", "Arn.2 Nux-v.2 Bry.1", []),
        ]),
        ("restlessness", "agitation", "Ars.4 Rhus-t.4 Acon.3 Cham.2 Tarent.3 Zinc.2 Bell.2", [
            ("bed, driving out of", "lit, le chassant du", "Ars.3 Rhus-t.2 Ferr.1", []),
        ]),
        ("weeping", "pleurs", "Puls.4 Ign.3 Nat-m.3 Sep.2 Lyc.2 Apis.1 Plat.1", [
            ("consolation agg.", "consolation agg.", "Nat-m.3 Ign.2 Sep.2 Sil.1 Plat.1", []),
            ("telling of her symptoms, when", "racontant ses symptômes, en", "Puls.3 Kreos.1 Med.2", []),
        ]),
        ("forgetful", "oublieux", "Anac.3 Lyc.2 Nux-m.3 Ph-ac.2 Bar-c.2 Merc.1", []),
        ("jealousy", "jalousie", "Lach.4 Hyos.3 Apis.2 Nux-v.1 Puls.1 Stram.1", []),
        ("indifference", "indifférence", "Ph-ac.3 Sep.3 Plat.2 Puls.2 Staph.1 Carb-v.1", [
            ("family, to his", "famille, envers sa", "Sep.3 Phos.2 Plat.1", []),
        ]),
        ("delusions", "illusions", "Bell.3 Stram.3 Hyos.2 Cann-i.3 Lach.2 Thuj.2", [
            ("glass, that she is made of", "verre, qu'elle est faite de", "Thuj.3", []),
            ("animals, of", "animaux, d'", "Bell.3 Stram.3 Hyos.2 Calc.1", []),
        ]),
    ]),
    ("Vertigo", "Vertige", [
        ("vertigo", "vertige", "Con.3 Bry.3 Cocc.3 Gels.2 Phos.2 Calc.2 Bell.2", [
            ("turning in bed", "tournant dans le lit, en se", "Con.4 Bell.2 Calc.1", []),
            ("looking upward", "regardant en haut, en", "Puls.2 Sil.2 Calc.1", []),
            ("rising from a seat", "levant d'un siège, en se", "Bry.3 Phos.2 Nux-v.1", []),
        ]),
        ("heights, on", "hauteurs, sur des", "Arg-n.3 Sulph.2 Calc.1 Gels.1", []),
        ("closing the eyes", "fermant les yeux, en", "Lach.2 Thuj.2 Ther.3 Arn.1", []),
        ("riding in a carriage", "en voiture", "Cocc.3 Petr.2 Tab.2 Hep.1", []),
    ]),
    ("Head", "Tête", [
        ("pain", "douleur", "Bell.4 Bry.3 Glon.3 Nat-m.3 Sang.3 Gels.2 Sil.3 Spig.2 Nux-v.3 Lach.2 Sep.2", [
            ("forehead", "front", "Bry.3 Nux-v.3 Kali-bi.2 Nat-m.2 Bell.2", []),
            ("occiput", "occiput", "Gels.3 Sil.2 Carb-v.1 Juni.1", []),
            ("temples", "tempes", "Bell.2 Glon.2 Chin.1 Lach.1", []),
            ("vertex", "vertex", "Lach.2 Glon.2 Cimic.2 Phos.1", []),
            ("sides", "côtés", "Bell.1 Spig.1", [
                ("right", "droit", "Bell.2 Sang.3 Lyc.1", []),
                ("left", "gauche", "Spig.3 Lach.2 Sep.1", []),
            ]),
            ("throbbing", "pulsatile", "Bell.4 Glon.4 Nat-m.3 Lach.2 Chin.1", []),
            ("bursting", "éclatement, comme par", "Bry.3 Bell.3 Glon.2 Sang.1", []),
            ("nail, as from a", "clou, comme par un", "Ign.3 Thuj.2 Coff.1", []),
        ]),
        ("heat", "chaleur", "Bell.3 Glon.2 Sulph.2 Phos.1 Acon.1", []),
        ("heaviness", "lourdeur", "Gels.3 Nux-v.2 Bry.2 Op.1 Rhus-t.1", []),
        ("perspiration of scalp", "transpiration du cuir chevelu", "Calc.4 Sil.3 Merc.2 Cham.1", []),
        ("hair, falling", "cheveux, chute des", "Nat-m.2 Phos.2 Sep.2 Fl-ac.2 Graph.1", []),
        ("eruptions", "éruptions", "Graph.2 Mez.3 Vinc.1 Olnd.2 Calc.1", [
            ("crusts", "croûtes", "Mez.3 Graph.2 Calc.1", []),
        ]),
    ]),
    ("Eye", "Oeil", [
        ("inflammation", "inflammation", "Apis.3 Arg-n.3 Euphr.3 Merc.2 Puls.2 Sulph.2", [
            ("lids", "paupières", "Graph.2 Puls.2 Sulph.1", []),
        ]),
        ("lachrymation", "larmoiement", "Euphr.3 All-c.2 Nat-m.2 Puls.2 Sabad.1", [
            ("wind, in the", "vent, au", "Euphr.2 Puls.2 Sil.1", []),
        ]),
        ("photophobia", "photophobie", "Bell.4 Euphr.2 Con.3 Merc.2 Ars.1", []),
        ("pain", "douleur", "Spig.3 Bell.2 Ruta.2 Cimic.2", [
            ("burning", "brûlante", "Ars.2 Sulph.2 Euphr.2", []),
            ("sand, as from", "sable, comme du", "Sulph.2 Caust.1 Ars.1", []),
        ]),
        ("styes", "orgelets", "Puls.3 Staph.2 Sulph.1 Graph.1", []),
    ]),
    ("Ear", "Oreille", [
        ("pain", "douleur", "Bell.3 Cham.4 Puls.3 Merc.2 Hep.2 Ferr-p.2", [
            ("stitching", "lancinante", "Cham.2 Puls.2 Merc.1", []),
            ("cold air, in", "air froid, à l'", "Hep.2 Cham.1 Mez.1", []),
        ]),
        ("noises", "bruits", "Chin.3 Graph.2 Sil.1 Calc.1 Sal-ac.1", [
            ("ringing", "tintement", "Chin.2 Sal-ac.1 Graph.1", []),
            ("roaring", "mugissement", "Chin.2 Puls.1", []),
        ]),
        ("discharges", "écoulements", "Puls.3 Merc.2 Hep.2 Sil.2 Tell.1", [
            ("offensive", "fétides", "Psor.2 Hep.2 Merc.1", []),
        ]),
        ("hearing, impaired", "ouïe, diminuée", "Graph.2 Puls.2 Sil.2 Phos.1", []),
    ]),
    ("Nose", "Nez", [
        ("coryza", "coryza", "All-c.3 Ars.3 Nux-v.3 Merc.2 Puls.2 Euphr.2 Kali-bi.2", [
            ("fluent", "fluent", "All-c.3 Ars.2 Merc.1", []),
            ("dry", "sec", "Nux-v.3 Calc.1 Sil.1", []),
        ]),
        ("sneezing", "éternuement", "All-c.2 Sabad.3 Nux-v.2 Ars.2", []),
        ("epistaxis", "épistaxis", "Phos.3 Ham.2 Ip.2 Ferr-p.2 Arn.1", [
            ("blowing the nose, on", "mouchant, en se", "Phos.2 Puls.1", []),
        ]),
        ("obstruction", "obstruction", "Nux-v.2 Kali-bi.2 Lyc.2 Samb.3", []),
        ("smell, wanting", "odorat, absent", "Puls.2 Nat-m.2 Sil.1 Calc.1", []),
    ]),
    ("Face", "Visage", [
        ("discoloration", "coloration", "Bell.1 Ferr.1", [
            ("red", "rouge", "Bell.4 Ferr.2 Glon.2 Sang.2 Stram.2", []),
            ("pale", "pâle", "Ars.2 Ferr.3 Calc.2 Chin.1", []),
            ("yellow", "jaune", "Chel.3 Sep.2 Lyc.1 Nat-s.1", []),
        ]),
        ("swelling", "enflure", "Apis.3 Ars.2 Bell.2 Merc.1", []),
        ("pain", "douleur", "Spig.3 Mag-p.3 Coloc.2 Verb.1", [
            ("neuralgic", "névralgique", "Mag-p.3 Spig.2 Coloc.2 Verb.1", []),
        ]),
        ("eruptions", "éruptions", "Graph.2 Hep.2 Sulph.2 Ant-c.1", [
            ("acne", "acné", "Kali-br.2 Sulph.2 Calc-s.1", []),
        ]),
    ]),
    ("Mouth", "Bouche", [
        ("aphthae", "aphtes", "Borx.4 Merc.2 Mur-ac.2 Sul-ac.1", []),
        ("taste", "goût", "Puls.1 Merc.1", [
            ("bitter", "amer", "Bry.3 Chel.2 Nat-m.1 Puls.2", []),
            ("metallic", "métallique", "Merc.3 Cupr.2 Rhus-t.1", []),
        ]),
        ("salivation", "salivation", "Merc.4 Ip.2 Nit-ac.2 Iod.1", []),
        ("dryness", "sécheresse", "Bry.3 Nux-m.3 Ars.2 Apis.1", []),
        ("tongue", "langue", "Merc.1", [
            ("coated white", "chargée blanche", "Ant-c.3 Bry.2 Puls.1", []),
            ("mapped", "géographique", "Nat-m.3 Tarax.2 Ars.1", []),
        ]),
    ]),
    ("Throat", "Gorge", [
        ("pain", "douleur", "Bell.3 Lach.3 Merc.3 Hep.2 Phyt.2 Lyc.2", [
            ("swallowing, on", "avalant, en", "Bell.2 Merc.2 Phyt.1", []),
            ("splinter, as from a", "écharde, comme par une", "Hep.3 Arg-n.2 Nit-ac.2", []),
            ("right side", "côté droit", "Lyc.3 Bell.2 Merc.1", []),
            ("left side", "côté gauche", "Lach.3 Sep.1", []),
        ]),
        ("lump, sensation of", "boule, sensation de", "Ign.4 Lach.2 Asaf.2 Bell.1", []),
        ("dryness", "sécheresse", "Bell.2 Nux-m.2 Ars.1", []),
    ]),
    ("Stomach", "Estomac", [
        ("nausea", "nausée", "Ip.4 Ant-t.2 Cocc.3 Tab.3 Nux-v.3 Puls.2 Ars.2", [
            ("motion, from", "mouvement, par le", "Cocc.3 Tab.3 Petr.2 Bry.1", []),
            ("smell of food", "odeur des aliments", "Colch.3 Ars.2 Cocc.2 Sep.1", []),
        ]),
        ("vomiting", "vomissements", "Ip.3 Ars.3 Verat.3 Phos.2 Nux-v.2", [
            ("drinking, after", "boire, après", "Ars.3 Phos.2 Verat.1", []),
        ]),
        ("thirst", "soif", "Ars.2 Bry.3 Phos.2 Nat-m.2 Verat.2", [
            ("small quantities, often", "petites quantités, souvent", "Ars.3 Chin.1", []),
            ("large quantities", "grandes quantités", "Bry.3 Nat-m.2 Phos.2 Verat.1", []),
        ]),
        ("thirstless", "absence de soif", "Puls.4 Apis.2 Gels.2 Ant-t.1", []),
        ("pain", "douleur", "Nux-v.3 Ars.2 Bry.2 Carb-v.2 Lyc.1", [
            ("burning", "brûlante", "Ars.3 Phos.2 Canth.1", []),
            ("cramping", "crampes", "Coloc.2 Cupr.2 Mag-p.1", []),
        ]),
        ("eructations", "éructations", "Carb-v.3 Lyc.2 Arg-n.2 Chin.1", [
            ("amel.", "amél. par", "Carb-v.3 Arg-n.2 Ign.1", []),
        ]),
        ("desires", "désirs", "Calc.1", [
            ("sweets", "sucreries", "Arg-n.3 Lyc.3 Sulph.2 Calc.1", []),
            ("salt", "sel", "Nat-m.3 Phos.2 Verat.2 Arg-n.1", []),
            ("eggs", "oeufs", "Calc.3 Puls.1", []),
        ]),
    ]),
    ("Abdomen", "Abdomen", [
        ("distension", "distension", "Lyc.3 Carb-v.3 Chin.3 Nux-m.2 Arg-n.2", []),
        ("pain", "douleur", "Coloc.3 Mag-p.3 Nux-v.2 Cham.2 Dios.2 Bell.2", [
            ("cramping", "crampes", "Coloc.3 Mag-p.2 Cupr.2 Cham.1", []),
            ("bending double amel.", "se pliant en deux, amél. en", "Coloc.4 Mag-p.2 Caust.1", []),
            ("stretching backward amel.", "étendant en arrière, amél. en s'", "Dios.3 Bell.1", []),
        ]),
        ("rumbling", "borborygmes", "Aloe.2 Lyc.2 Podo.2 Sulph.1", []),
        ("flatulence", "flatulence", "Carb-v.3 Lyc.3 Chin.2 Nux-v.2", []),
    ]),
    ("Rectum", "Rectum", [
        ("constipation", "constipation", "Alum.3 Bry.3 Nux-v.3 Op.3 Sil.2 Graph.2 Lyc.2", [
            ("ineffectual urging", "besoin inefficace", "Nux-v.4 Lyc.2 Sep.1", []),
            ("stool recedes", "selle qui remonte", "Sil.3 Thuj.2 Op.1", []),
        ]),
        ("diarrhoea", "diarrhée", "Ars.3 Podo.3 Verat.3 Aloe.2 Sulph.2 Chin.2", [
            ("morning, driving out of bed", "matin, le chassant du lit", "Sulph.4 Aloe.2 Podo.2 Nat-s.1", []),
            ("painless", "indolore", "Chin.2 Ph-ac.3 Podo.2", []),
        ]),
        ("haemorrhoids", "hémorroïdes", "Aesc.3 Ham.3 Nux-v.2 Sulph.2 Aloe.2", []),
        ("itching", "démangeaison", "Sulph.2 Ign.1 Teucr.2", []),
    ]),
    ("Urine", "Urine", [
        ("burning", "brûlante", "Canth.4 Cann-s.2 Merc.1 Apis.2", []),
        ("scanty", "peu abondante", "Apis.3 Lyc.2 Canth.2 Ars.1", []),
        ("sediment", "sédiment", "Lyc.1 Berb.1", [
            ("red, sand", "rouge, sable", "Lyc.4 Sars.2 Berb.1", []),
        ]),
        ("odour, strong", "odeur, forte", "Benz-ac.3 Nit-ac.3 Sep.1", []),
    ]),
    ("Respiration", "Respiration", [
        ("asthmatic", "asthmatique", "Ars.3 Ip.3 Ant-t.2 Nat-s.2 Samb.2", [
            ("damp weather", "temps humide", "Nat-s.3 Dulc.2 Ars.1", []),
        ]),
        ("difficult", "difficile", "Ars.3 Ant-t.3 Ip.2 Lach.2 Spong.2", [
            ("lying, while", "couché, étant", "Ars.3 Lach.1 Puls.1", []),
        ]),
        ("rattling", "râlante", "Ant-t.4 Ip.3 Hep.1", []),
    ]),
    ("Cough", "Toux", [
        ("dry", "sèche", "Bry.3 Bell.2 Dros.3 Spong.3 Rumx.2 Phos.2 Hyos.2", [
            ("lying, while", "couché, étant", "Hyos.3 Dros.2 Puls.1", []),
            ("cold air, in", "air froid, à l'", "Rumx.3 Phos.2 Hep.1", []),
        ]),
        ("barking", "aboyante", "Spong.3 Dros.2 Bell.2 Hep.1", []),
        ("whooping", "coqueluche", "Dros.3 Cupr.2 Coc-c.2 Ip.1", []),
        ("loose", "grasse", "Puls.2 Ant-t.2 Ip.1 Stann.2", []),
        ("tickling", "chatouillement, par", "Rumx.2 Phos.2 Lach.1 Bell.1", []),
    ]),
    ("Chest", "Poitrine", [
        ("oppression", "oppression", "Phos.2 Ars.2 Ip.1 Cact.2 Lach.1", []),
        ("palpitation of heart", "palpitations du coeur", "Acon.2 Cact.3 Dig.2 Spig.3 Nat-m.2 Lach.1", [
            ("lying on left side", "couché sur le côté gauche", "Phos.2 Nat-m.2 Spig.1", []),
            ("excitement, from", "émotion, par", "Acon.1 Phos.1 Coff.2", []),
        ]),
        ("pain", "douleur", "Bry.3 Kali-c.2 Phos.2 Ran-b.2", [
            ("stitching", "lancinante", "Bry.3 Kali-c.3 Ran-b.2", []),
            ("heart, region of", "région du coeur", "Cact.3 Spig.3 Lach.1", []),
        ]),
        ("constriction", "constriction", "Cact.4 Ars.1 Lach.1 Ign.1", []),
    ]),
    ("Back", "Dos", [
        ("pain", "douleur", "Rhus-t.3 Kali-c.3 Bry.2 Nux-v.2 Calc-f.2", [
            ("lumbar region", "région lombaire", "Rhus-t.3 Kali-c.3 Berb.2 Calc.1", []),
            ("cervical region", "région cervicale", "Cimic.3 Lachn.1 Gels.1", []),
            ("sacral region", "région sacrée", "Aesc.3 Rhus-t.1", []),
        ]),
        ("stiffness", "raideur", "Rhus-t.3 Caust.2 Lach.1 Bry.1", []),
        ("coldness", "froid, sensation de", "Gels.2 Abies-c.1 Caps.1", []),
    ]),
    ("Extremities", "Extrémités", [
        ("pain", "douleur", "Rhus-t.3 Bry.3 Led.2 Colch.2 Kalm.1 Puls.2", [
            ("joints", "articulations", "Bry.3 Rhus-t.3 Colch.2 Led.2", []),
            ("wandering", "erratique", "Puls.3 Kali-s.2 Lac-c.2", []),
            ("sciatic", "sciatique", "Coloc.3 Gnaph.1 Rhus-t.2", []),
        ]),
        ("cramps", "crampes", "Cupr.3 Calc.2 Verat.2 Sec.2 Mag-p.1", [
            ("calf", "mollet", "Cupr.3 Calc.2 Sulph.1", []),
        ]),
        ("coldness", "froid", "Calc.3 Sec.2 Verat.2 Carb-v.2", [
            ("feet", "pieds", "Calc.3 Sil.2 Sep.2 Lyc.1", []),
        ]),
        ("perspiration", "transpiration", "Calc.1 Sil.1", [
            ("feet", "pieds", "Sil.4 Calc.2 Graph.1", [
                ("offensive", "fétide", "Sil.3 Bar-c.2 Graph.1", []),
            ]),
            ("hands", "mains", "Calc.2 Fl-ac.1 Sil.1", []),
        ]),
        ("restlessness", "agitation", "Rhus-t.3 Zinc.3 Ars.2 Tarent.2", [
            ("legs", "jambes", "Zinc.3 Rhus-t.2 Caust.2", []),
        ]),
        ("swelling", "enflure", "Apis.2 Bry.2 Led.2 Puls.1", []),
    ]),
    ("Sleep", "Sommeil", [
        ("sleeplessness", "insomnie", "Coff.3 Nux-v.3 Ars.2 Cocc.2 Ign.2 Puls.1", [
            ("thoughts, from activity of", "pensées, par l'activité des", "Coff.4 Nux-v.2 Puls.1 Calc.1", []),
            ("after waking", "après le réveil", "Nux-v.3 Ars.1 Sil.1", []),
        ]),
        ("sleepiness", "somnolence", "Op.3 Nux-m.3 Ant-t.2 Gels.2", []),
        ("dreams", "rêves", "Puls.1 Nat-m.1", [
            ("anxious", "anxieux", "Ars.2 Puls.2 Nat-m.1", []),
            ("falling, of", "chute, de", "Bell.1 Thuj.2 Dig.1", []),
            ("robbers, of", "voleurs, de", "Nat-m.3 Mag-c.1 Alum.1", []),
        ]),
        ("position", "position", "Puls.1", [
            ("abdomen, on", "ventre, sur le", "Med.3 Calc.1 Podo.1", []),
            ("arms over the head", "bras au-dessus de la tête", "Puls.3 Plat.1 Nux-v.1", []),
        ]),
        ("yawning", "bâillement", "Ign.2 Nux-v.1 Op.1", []),
    ]),
    ("Fever", "Fièvre", [
        ("heat", "chaleur", "Acon.3 Bell.4 Bry.2 Ferr-p.2 Gels.2", [
            ("dry", "sèche", "Acon.3 Bell.2 Bry.1", []),
            ("thirst, without", "soif, sans", "Gels.3 Puls.2 Apis.1", []),
        ]),
        ("chill", "frisson", "Nux-v.2 Puls.1 Eup-per.2", [
            ("heat, without subsequent", "chaleur, sans chaleur consécutive", "Caust.1 Verat.1", []),
        ]),
        ("intermittent", "intermittente", "Chin.3 Nat-m.3 Eup-per.2 Ars.2", []),
    ]),
    ("Skin", "Peau", [
        ("eruptions", "éruptions", "Sulph.3 Graph.3 Mez.2 Rhus-t.2 Ars.1", [
            ("vesicular", "vésiculeuse", "Rhus-t.3 Canth.2 Mez.2", []),
            ("moist", "humide", "Graph.3 Mez.2 Petr.2", []),
            ("urticaria", "urticaire", "Apis.3 Urt-u.1 Rhus-t.2 Nat-m.1", []),
        ]),
        ("itching", "démangeaison", "Sulph.4 Psor.3 Mez.2 Dol.1", [
            ("warmth of bed agg.", "chaleur du lit agg.", "Sulph.3 Merc.2 Psor.1", []),
        ]),
        ("cracks", "crevasses", "Petr.3 Graph.3 Nit-ac.2 Sars.1", []),
        ("warts", "verrues", "Thuj.3 Caust.3 Nit-ac.2 Dulc.1", []),
        ("ulcers", "ulcères", "Merc.2 Sil.2 Nit-ac.2 Lach.2 Ars.1", []),
    ]),
    ("Generalities", "Généralités", [
        ("cold, taking a, tendency", "refroidir, tendance à se", "Calc.3 Sil.3 Kali-c.2 Nux-v.2 Dulc.2 Hep.2", []),
        ("heat, vital, lack of", "chaleur vitale, manque de", "Sil.3 Calc.2 Kali-c.2 Ars.2 Psor.3", []),
        ("sides", "côtés", "Lyc.1 Lach.1", [
            ("right", "droit", "Lyc.3 Bell.2 Apis.1 Chel.2", []),
            ("left", "gauche", "Lach.3 Sep.2 Spig.1", []),
            ("right to left", "droite à gauche", "Lyc.3 Apis.1", []),
            ("left to right", "gauche à droite", "Lach.3 Sabad.1", []),
        ]),
        ("weakness", "faiblesse", "Ars.3 Chin.3 Gels.2 Ph-ac.2 Carb-v.2 Phos.2", []),
        ("weather", "temps", "Dulc.1 Rhod.1", [
            ("change of", "changement de", "Dulc.3 Rhod.2 Rhus-t.2", []),
            ("storm, before", "orage, avant un", "Rhod.3 Phos.2", []),
        ]),
        ("food and drinks", "aliments et boissons", "Puls.1", [
            ("fat agg.", "gras agg.", "Puls.3 Carb-v.2 Ip.1", []),
            ("milk agg.", "lait agg.", "Calc.2 Mag-c.2 Nat-c.2 Sep.1", []),
            ("coffee agg.", "café agg.", "Cham.2 Nux-v.3 Ign.2", []),
        ]),
        ("bathing agg.", "bain agg.", "Sulph.3 Rhus-t.2 Calc.1", []),
    ]),
]

# Rubrics that only group their sub-rubrics: no times or modalities are
# hung under them, as no repertory would write "desires - agg. touch".
NO_MODALITIES = {
    "desires", "taste", "tongue", "sediment", "discoloration", "position",
    "dreams", "food and drinks", "weather", "sides", "perspiration",
    "hair, falling", "eruptions", "jealousy", "forgetful", "delusions",
    "styes", "warts", "cracks", "smell, wanting", "hearing, impaired",
    "perspiration of scalp", "sediment", "aphthae", "mapped", "coated white",
    "thirstless", "bathing agg.", "heat, vital, lack of", "swelling",
    "haemorrhoids", "odour, strong", "yawning", "stiffness", "glass, that she is made of",
    "animals, of",
}
# Sub-rubrics under these take modalities as well as times.
MODAL_PARENTS = {"pain", "vertigo", "coryza", "nausea", "dry", "palpitation of heart"}

# More rubrics, kept apart so that the lists above stay short to read.
MORE = {
    "Mind": [
        ("anger", "colère", "Nux-v.3 Cham.3 Staph.3 Hep.2 Lyc.2 Sep.1", [
            ("contradiction, from", "contradiction, par la", "Ign.2 Lyc.2 Nux-v.2 Sep.1", []),
        ]),
        ("concentration, difficult", "concentration, difficile", "Ph-ac.3 Gels.2 Bar-c.2 Nux-v.2 Lyc.2", []),
        ("sadness", "tristesse", "Aur.3 Nat-m.3 Puls.3 Ign.2 Sep.2 Calc.2", [
            ("menses, before", "règles, avant les", "Lyc.2 Nat-m.2 Puls.2 Sep.1", []),
        ]),
        ("sensitive", "sensible", "Nux-v.3 Coff.2 Phos.2 Staph.2", [
            ("noise, to", "bruit, au", "Nux-v.3 Coff.3 Ther.2 Asar.1", []),
        ]),
    ],
    "Head": [
        ("congestion", "congestion", "Bell.3 Glon.3 Acon.2 Meli.1 Sulph.1", []),
    ],
    "Stomach": [
        ("appetite", "appétit", "Lyc.1", [
            ("wanting", "absent", "Chin.2 Lyc.2 Sep.2 Ars.1", []),
            ("ravenous", "vorace", "Iod.3 Lyc.2 Cina2 Sulph.2", []),
        ]),
    ],
    "Throat": [
        ("inflammation", "inflammation", "Bell.3 Merc.2 Apis.2 Phyt.2 Lach.2", []),
    ],
    "Extremities": [
        ("numbness", "engourdissement", "Cocc.2 Puls.2 Sec.2 Cham.1", [
            ("fingers", "doigts", "Calc.1 Phos.1 Sec.2", []),
        ]),
    ],
    "Sleep": [
        ("waking", "réveil", "Nux-v.1", [
            ("frequent", "fréquent", "Nux-v.2 Ars.1 Sulph.2", []),
            ("fright, as from", "frayeur, comme par une", "Stram.2 Lyc.1 Cina2", []),
        ]),
    ],
    "Generalities": [
        ("faintness", "évanouissement", "Ign.2 Nux-m.3 Cham.1 Verat.2 Hep.1", []),
        ("pulsation", "pulsation", "Bell.2 Glon.2 Lach.1 Sep.1", []),
        ("pain, sensitiveness to", "douleur, sensibilité à la", "Cham.3 Coff.3 Hep.3 Acon.2", []),
    ],
    "Skin": [
        ("dry", "sèche", "Graph.2 Sulph.2 Calc.1 Alum.2 Nat-m.1", []),
    ],
}
CHAPTERS_MORE = [
    ("Perspiration", "Transpiration", [
        ("profuse", "profuse", "Calc.2 Chin.2 Merc.3 Samb.2 Sil.1", []),
        ("odour", "odeur", "Merc.1 Sil.1", [
            ("offensive", "fétide", "Merc.2 Sil.2 Psor.2 Hep.1", []),
            ("sour", "aigre", "Hep.2 Sil.1 Calc.1", []),
        ]),
        ("cold", "froide", "Verat.3 Carb-v.2 Camph.2 Ars.1", []),
    ]),
    ("Female genitalia", "Organes génitaux féminins", [
        ("menses", "règles", "Puls.1 Sep.1", [
            ("painful", "douloureuses", "Cimic.2 Mag-p.2 Coloc.2 Puls.2 Cham.2", []),
            ("late", "tardives", "Puls.3 Sep.2 Nat-m.2 Graph.2", []),
            ("profuse", "abondantes", "Calc.3 Sabin.2 Ip.2 Sec.1", []),
        ]),
        ("leucorrhoea", "leucorrhée", "Sep.2 Puls.2 Kreos.2 Borx.1", []),
        ("bearing down", "pesanteur vers le bas", "Sep.3 Lil-t.2 Bell.2 Murx.1", []),
    ]),
]
for _c in CHAPTERS:
    _c[2].extend(MORE.get(_c[0], []))
CHAPTERS.extend(CHAPTERS_MORE)

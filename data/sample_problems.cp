#1
//!VARIANTS
//!Main: Rg6-e6
//!ENDVARIANTS
{
  Description: Hilmar Ebert, feenschach, 1991
  FEN: B7/8/6R1/4k2p/3N3P/4K3/8/8 w - - 0 1
}

#1
//#TAGS
//#en passant
//!VARIANTS
//!Main: d5:e6
//!ENDVARIANTS
{
  Description: Sample
  FEN: 5K2/8/2qk4/2nPp3/3r4/6B1/B7/3R4 w - E6 0 1
}

#1
//#TAGS
//#promotion
//!VARIANTS
//!Main: d7-d8Q
//!ENDVARIANTS
{
  Description: K. Hannemann, Dagens Nyheder, 1933 (version H. Ebert)
  FEN: 2B5/Kp1PN3/bppk1P2/1p6/1p1P4/1P6/8/8 w - - 0 1
}

#2
//#TAGS
//#no solution
//!VARIANTS
//!Main: none
//!ENDVARIANTS
{
  Description: Sample
  FEN: 8/8/8/8/8/8/8/k1K5 w - - 0 1
}

#2
//#TAGS
//#several keys
//!VARIANTS
//!Main: Bd1-b3; Bd1-c2
//!ENDVARIANTS
{
  Description: Martin Väth
  FEN: 8/3Q4/5k2/8/8/4B1P1/8/K2B4 w - - 0 1
}

#2
//!VARIANTS
//!Main: Bg4-f5
//!ENDVARIANTS
{
  Description: Martin Väth
  FEN: 8/3R4/5k2/8/6B1/6N1/4N3/K1B5 w - - 0 1
}

#2
//!VARIANTS
//!Main: Kg4-h5
//!ENDVARIANTS
{
  Description: Martin Väth
  FEN: 8/3Q4/5k2/2P5/4P1K1/5P2/8/8 w - - 0 1
}

#2
//#TAGS
//#promotion
//!VARIANTS
//!Main: c7-c8N
//!ENDVARIANTS
{
  Description: Martin Väth
  FEN: 8/2P5/8/4k1K1/8/3Q4/8/8 w - - 0 1
}

#2
//#TAGS
//#en passant
//!VARIANTS
//!Main: h5:g6
//!ENDVARIANTS
{
  Description: Friedrich Amelung, 1897
  FEN: 7R/7p/5P1k/4PKpP/8/8/8/8 w - G6 0 1
}

#2
//#TAGS
//#no solution
//!VARIANTS
//!Main: none
//!ENDVARIANTS
{
  Description: Friedrich Amelung, 1897
  FEN: 7R/7p/5P1k/4PKpP/8/8/8/8 w - - 0 1
}

#2
//#TAGS
//#promotion
//!VARIANTS
//!Main: c7-c8B
//!ENDVARIANTS
{
  Description: Tivadar Kardos, 1964
  FEN: 8/2P4R/1P1k4/8/2K2P2/8/8/8 w - - 0 1
}

#2
//!VARIANTS
//!Main: Qa7-f2
//!ENDVARIANTS
{
  Description: G. Schöpfer, Neue Leipziger Zeitung, 1927
  FEN: 8/Q7/8/8/8/8/8/2k1K2R w K - 0 1
}

#2
//#TAGS
//#en passant
//!VARIANTS
//!Main: e5:f6
//!ENDVARIANTS
{
  Description: B. P. Barnes, Die Schwalbe, 1962 (version W. Issler)
  FEN: 7N/2pp2pP/3Bk1p1/2PpPpK1/4N2P/2P3P1/3P1P2/4RB2 w - F6 0 1
}

#2
//#TAGS
//#several keys
//!VARIANTS
//!Main: Ka6-b6; Ne8-c7
//!ENDVARIANTS
{
  Description: Sample
  FEN: k3N3/P7/K6p/8/8/8/8/8 w - - 0 1
}

#2
//#TAGS
//#promotion
//!VARIANTS
//!Main: f7-f8R
//!ENDVARIANTS
{
  Description: Sample
  FEN: 8/5P1k/5K2/8/8/8/8/8 w - - 0 1
}

#2
//#TAGS
//#castling
//!VARIANTS
//!Main: 0-0-0
//!ENDVARIANTS
{
  Description: Sample
  FEN: 2N2B2/2N1r3/8/3nQ2R/1k6/8/2B5/R3K3 w Q - 0 1
}

#2
//#TAGS
//#several keys
//!VARIANTS
//!Main: Kb4-c3; Kb4-c4; Ne3-g4; Rf7-g7
//!ENDVARIANTS
{
  Description: Sample
  FEN: 7B/5R2/3p3N/3P4/1K2k2r/4N3/4Q3/8 w - - 0 1
}

#2
//!VARIANTS
//!Main: Qe2-e4
//!ENDVARIANTS
{
  Description: Sample
  FEN: 8/8/8/8/8/8/4QRb1/R3K2k w Q - 0 1
}

#2
//#TAGS
//#en passant
//!VARIANTS
//!Main: g5:f6
//!ENDVARIANTS
{
  Description: Олександр Мочалкін, Приокская правда (Навашино), 2nd Prize, 1987
  FEN: 3Q4/3Pp2N/6Pp/3PKpP1/4P1Pk/5B1p/4PP2/2B4R w - F6 0 1
}

#2
//!VARIANTS
//!Main: Qd5-d8
//!ENDVARIANTS
{
  Description: Johannes Zukertort - Adolf Anderssen, Breslau, 1865 (game)
  FEN: r1b2k1r/ppp1bppp/8/1B1Q4/5q2/2P5/PPP2PPP/R3R1K1 w - - 0 1
}

#2
//!VARIANTS
//!Main: Qb3:b7
//!ENDVARIANTS
{
  Description: Marcos Luckis - Moshe Czerniak, Warsaw, 1935 (game)
  FEN: k1n3rr/Pp3p2/3q4/3N4/3Pp2p/1Q2P1p1/3B1PP1/R4RK1 w - - 0 1
}

#3
//#TAGS
//#promotion
//#several keys
//!VARIANTS
//!Main: c7-c8Q; c7-c8R
//!ENDVARIANTS
{
  Description: Sample
  FEN: 8/2P5/8/8/8/8/N7/k1K5 w - - 0 1
}

#3
//!VARIANTS
//!Main: Bf3-d5
//!ENDVARIANTS
{
  Description: Martin Väth
  FEN: B1R5/3p4/2bp4/4k3/2P3K1/2P2B2/5R2/8 w - - 0 1
}

#3
//!VARIANTS
//!Main: Kd6-d7
//!ENDVARIANTS
{
  Description: Frank Healey, 1858
  FEN: 8/8/3K4/2R5/8/2Pk4/5Q2/8 w - - 0 1
}

#3
//#TAGS
//#promotion
//!VARIANTS
//!Main: b7:a8N
//!ENDVARIANTS
{
  Description: Sam Loyd, 1876
  FEN: b7/PP6/8/8/7K/6B1/6N1/4R1bk w - - 0 1
}

#3
//!VARIANTS
//!Main: Qf8-e7
//!ENDVARIANTS
{
  Description: Fritz Karge, Stern 46/79, 8.11.1979 (correction)
  FEN: 5Q2/8/2P1pP2/4k3/4P3/8/4N3/R3K2R w KQ - 0 1
}

#3
//#TAGS
//#castling
//!VARIANTS
//!Main: 0-0-0
//!ENDVARIANTS
{
  Description: Hilmar Ebert, Stern 33/91, 8.8.1991
  FEN: 8/2Pp4/8/N1P5/4p3/P1k5/8/R3K3 w Q - 0 1
}

#3
//#TAGS
//#no solution
//!VARIANTS
//!Main: none
//!ENDVARIANTS
{
  Description: Sample
  FEN: k7/P7/K7/5p2/8/7B/4p1P1/8 w - - 0 1
}

#3
//!VARIANTS
//!Main: Rg4-g8
//!ENDVARIANTS
{
  Description: Sample
  FEN: 1r5k/4NP1b/7K/8/6R1/8/8/8 w - - 0 1
}

#3
//#TAGS
//#promotion
//!VARIANTS
//!Main: e7-e8N
//!ENDVARIANTS
{
  Description: Sample
  FEN: 2K4N/3PP1k1/5N2/6n1/8/8/8/8 w - - 0 1
}

#4
//#TAGS
//#several keys
//!VARIANTS
//!Main: Ne2-g3; Rg4:h4
//!ENDVARIANTS
{
  Description: Martin Väth
  FEN: 8/6K1/5p1B/2Rnqrbk/4Q1Rp/3N1b1P/4N3/8 w - - 0 1
}

#4
//!VARIANTS
//!Main: Rd7-d8
//!ENDVARIANTS
{
  Description: Jochen Lehmensick, Stern 32/91, 1.8.1991
  FEN: 2n1k2r/R2R2p1/2P1K2p/8/8/8/8/8 w k - 0 1
}

#4
//#TAGS
//#castling
//!VARIANTS
//!Main: 0-0-0
//!ENDVARIANTS
{
  Description: Kurt Schmeisser, Die Schwalbe, 1942
  FEN: 5k2/7R/8/Pn6/8/8/8/R3K3 w Q - 0 1
}

#4
//#TAGS
//#en passant
//!VARIANTS
//!Main: g5:f6
//!ENDVARIANTS
{
  Description: Sam Loyd, N.Y. State Chess Association, 16.8.1894
  FEN: 1b3NrR/P1pp2pK/1p2p1RQ/5pP1/1P3pk1/1P6/2PPP2P/N7 w - F6 0 1
}

#4
//#TAGS
//#promotion
//!VARIANTS
//!Main: g7-g8Q
//!ENDVARIANTS
{
  Description: Sample
  FEN: 8/3p2P1/1Pp5/2P1P3/3B2P1/2p5/p7/RNk1K3 w Q - 0 1
}

#4
//!VARIANTS
//!Main: Qh1-a8
//!ENDVARIANTS
{
  Description: Sample
  FEN: 8/8/5pp1/6k1/6p1/6K1/8/7Q w - - 0 1
}

#4
//!VARIANTS
//!Main: Bb5-a6
//!ENDVARIANTS
{
  Description: Sample
  FEN: k7/n1RN4/8/1B6/K7/4n3/8/8 w - - 0 1
}

#4
//!VARIANTS
//!Main: Kg1-h1
//!ENDVARIANTS
{
  Description: Sample
  FEN: r2qk2r/pp1nbRpp/4Q3/1B6/8/3p4/PPP3PP/5RK1 w kq - 0 1
}

#5
//!VARIANTS
//!Main: Bb4-c3
//!ENDVARIANTS
{
  Description: Sample
  FEN: 1R6/8/p7/8/1B6/8/k6N/5K2 w - - 0 1
}

#5
//!VARIANTS
//!Main: Nf5-d6
//!ENDVARIANTS
{
  Description: Sample
  FEN: 8/8/2K1k1B1/5N2/8/1p6/1B6/8 w - - 0 1
}

#6
//!VARIANTS
//!Main: Ra7-d7
//!ENDVARIANTS
{
  Description: Sample
  FEN: 1r5k/R3R3/K7/8/8/8/8/8 w - - 0 1
}

#6
//!VARIANTS
//!Main: Nb3-c5
//!ENDVARIANTS
{
  Description: Sample
  FEN: 8/1k1K4/8/8/1pN5/1N6/8/8 w - - 0 1
}

#7
//!VARIANTS
//!Main: Nh4-f3
//!ENDVARIANTS
{
  Description: Sample
  FEN: 3N3k/1K6/5P2/8/7N/8/8/8 w - - 0 1
}

#8
//!VARIANTS
//!Main: Rd7-e7
//!ENDVARIANTS
{
  Description: Sample
  FEN: 4k2K/3R1R2/8/8/8/8/8/6r1 w - - 0 1
}

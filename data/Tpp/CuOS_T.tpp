 Number of Species, Elements and Temperature
Cu
O
S
 
400.00
1100.00
-24.00
0.00
 
-8
673.15
 
Temperature
O2(g)
S2(g)
 
Cu
Cu2O
CuO
Cu2S
CuS
CuSO4

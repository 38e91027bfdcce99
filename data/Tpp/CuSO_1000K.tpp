 Number of Species, Elements and Temperature
Cu
S
O
 
-10.00
2.00
-20.00
2.00
 
1000
1000
 
SO2(g)
O2(g)
Temperature
 
Cu
Cu2O
CuO
Cu2S
CuS
CuSO4

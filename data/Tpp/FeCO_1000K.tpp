 Number of Species, Elements and Temperature
Fe
C
O
 
-10.00
2.00
-10.00
2.00
 
1000
1000
 
CO2(g)
CO(g)
Temperature
 
Fe
FeO
Fe3O4
Fe2O3
FeCO3
Fe0.947O

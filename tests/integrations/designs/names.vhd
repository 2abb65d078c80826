-- Extended identifiers, which can hold blanks, dots and brackets.
library ieee;
use ieee.std_logic_1164.all;

entity names is
end;

architecture a of names is
  signal a_b, \a b\, \a_b\, \A_B\, \back\\slash\, \"q"\, \g(0)\ : std_logic := '0';
  signal \a.b\, \v[3:0]\ : std_logic_vector(3 downto 0) := "0000";
begin
  a : block
    signal b : std_logic := '0';
  begin
    b <= '1' after 7 ns;
  end block;
  \s t\ : block
    signal b : std_logic := '0';
  begin
    b <= '1' after 8 ns;
  end block;
  a_b <= '1' after 1 ns;
  \a b\ <= '1' after 2 ns;
  \a_b\ <= '1' after 3 ns;
  \A_B\ <= '1' after 4 ns;
  \back\\slash\ <= '1' after 5 ns;
  \"q"\ <= '1' after 6 ns;
  \g(0)\ <= '1' after 7 ns;
  \a.b\ <= "0101" after 8 ns;
  \v[3:0]\ <= "1001" after 9 ns;
end;

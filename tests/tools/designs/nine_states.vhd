-- The nine states of std_logic, and the other kinds of signal that a VHDL simulator writes.
library ieee;
use ieee.std_logic_1164.all;
use ieee.numeric_std.all;

entity nine_states is
end entity;

architecture test of nine_states is
  type color is (red, green, blue);
  signal clk      : std_logic := '0';
  signal resolved : std_logic;
  signal bus_u    : std_logic_vector(7 downto 0);
  signal wide     : std_logic_vector(99 downto 0) := (others => '0');
  signal count    : unsigned(11 downto 0) := (others => '0');
  signal number   : integer range 0 to 1000 := 0;
  signal level    : real := 0.1;
  signal hue      : color := red;
  signal flag     : boolean := false;
  signal flip     : bit := '0';
  signal weak     : std_logic_vector(0 to 3) := "LHW-";
begin
  clk <= not clk after 5 ns when now < 400 ns else clk;
  resolved <= 'H';
  resolved <= '0' when count(2) = '1' else 'Z';

  process (clk)
    constant letters : std_logic_vector(0 to 8) := "UX01ZWLH-";
  begin
    if rising_edge(clk) then
      count <= count + 1;
      number <= to_integer(count) mod 1000;
      level <= level * (-1.3);
      flag <= not flag;
      flip <= not flip;
      if count > 3 then
        bus_u <= bus_u(6 downto 0) & letters(to_integer(count) mod 9);
      end if;
      weak <= weak(1 to 3) & letters(to_integer(count * 5) mod 9);
      wide(to_integer(count) mod 100) <= letters(to_integer(count) mod 9);
      if hue = blue then
        hue <= red;
      else
        hue <= color'succ(hue);
      end if;
    end if;
  end process;
end architecture;

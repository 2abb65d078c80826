-- A crossing: its lights change by a timer, and sooner when somebody waits.
library ieee;
use ieee.std_logic_1164.all;

entity crossing is
end entity;

architecture test of crossing is
  type color is (red, green, amber);
  signal clk     : std_logic := '0';
  signal waiting : std_logic := '0';
  signal light   : color := red;
  signal timer   : integer range 0 to 15 := 3;
  signal walk    : boolean;
begin
  clk <= not clk after 5 ns when now < 1 us;
  waiting <= '0', '1' after 170 ns, '0' after 210 ns;
  walk <= light = red;

  process (clk)
  begin
    if rising_edge(clk) then
      if timer /= 0 and not (waiting = '1' and light = green) then
        timer <= timer - 1;
      else
        case light is
          when red => light <= green; timer <= 12;
          when green => light <= amber; timer <= 2;
          when amber => light <= red; timer <= 6;
        end case;
      end if;
    end if;
  end process;
end architecture;
